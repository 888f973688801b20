// SPDX-License-Identifier: MIT

#ifndef HOST_DOCTOR_H
#define HOST_DOCTOR_H

#include <string>
#include <vector>

#include "host/live_source.h"

namespace host {

enum class Verdict {
    OK,
    WARN,  ///< a measurement is possible, but not all that one may want
    FAIL,  ///< no live measurement here until this is mended
};

/// "OK", "WARN" or "FAIL".
const char* VerdictName(Verdict verdict);

/// One thing that a live measurement depends on.
struct DoctorCheck {
    std::string name;  ///< short: "kernel", "nodes", "pmus", "pmu NAME", "permission", "descriptors", "open",
                       ///< "kernel counts"
    Verdict verdict = Verdict::OK;
    std::string detail;  ///< what was found, one line
    std::string remedy;  ///< what to do, one line; empty when there is nothing to do
};

struct DoctorOptions {
    LiveOptions live;                  ///< the measurement that is to be made
    std::string procfsRoot = "/proc";  ///< tree for kernel release, limits of this process, settings
};

/// Looks at what a live measurement needs, in a fixed order: kernel, nodes, pmus, then one check for each PMU
/// that counts and each that lacks something, permission, descriptors, open, kernel counts. "open" opens and
/// reads the counters for real and closes them again; without a PMU to count it tries the kernel's own
/// software clock. Changes nothing else than, if need be, the soft limit of open descriptors of this process.
std::vector<DoctorCheck> Diagnose(const DoctorOptions& options, PerfApi& api);

/// The worst verdict among the checks; OK when there are none.
Verdict WorstVerdict(const std::vector<DoctorCheck>& checks);

}  // namespace host

#endif  // HOST_DOCTOR_H
