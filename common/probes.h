// SPDX-License-Identifier: MIT

#ifndef COMMON_PROBES_H
#define COMMON_PROBES_H

/// Every probe of the machine and its processes. Small functions without state that read procfs and sysfs,
/// check figures and texts, and tell of a failure by their result alone: none logs, none throws, none waits
/// for a FIFO.

#include "common/cpu_probe.h"
#include "common/file_probe.h"
#include "common/net_probe.h"
#include "common/numa_probe.h"
#include "common/proc_probe.h"
#include "common/string_util.h"
#include "common/system_probe.h"

#endif  // COMMON_PROBES_H
