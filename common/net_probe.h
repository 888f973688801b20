// SPDX-License-Identifier: MIT

#ifndef COMMON_NET_PROBE_H
#define COMMON_NET_PROBE_H

#include <string>

#include "common/export.h"

/// The NUMA node of a network interface's device, as the kernel tells it; -1 when the interface has no
/// device, does not exist, is no interface name, or its figure is malformed. Any thread.
SCENARIO_NUMA_EXPORT int GetNetIntfNode(const std::string& ifname);

/// True for 1 to 65535. Any thread.
SCENARIO_NUMA_EXPORT bool IsValidPort(unsigned port);

/// True for an IPv4 address of exactly four decimal parts without leading zeros, and for an IPv6 address in
/// any standard text form, with an IPv4 tail or without; zone ids and brackets are refused. Any thread.
SCENARIO_NUMA_EXPORT bool IsValidIpAddress(const std::string& address);

#endif  // COMMON_NET_PROBE_H
