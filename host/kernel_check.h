// SPDX-License-Identifier: MIT

#ifndef HOST_KERNEL_CHECK_H
#define HOST_KERNEL_CHECK_H

#include <string>

#include "host/doctor.h"

namespace host {

/// The check "kernel counts": what the kernel itself counts here that can be set beside a score. Nothing that
/// it finds keeps a measurement from being made.
DoctorCheck CheckKernelCounts(const std::string& sysfsRoot, const std::string& procfsRoot);

}  // namespace host

#endif  // HOST_KERNEL_CHECK_H
