// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_PROMETHEUS_PROGRAMS_H
#define TESTS_SUPPORT_PROMETHEUS_PROGRAMS_H

#include <string>

namespace support {

/// Where a program of Prometheus (promtool, prometheus) was found, or why not.
struct PrometheusProgram {
    std::string path;   ///< empty when there is none
    std::string fault;  ///< empty when there is one
    bool isRequired;    ///< the environment names a directory, so that a missing program is a failure
};

/// Looks in the directory that scripts/prometheus.sh filled: the one that SCENARIO_NUMA_PROMETHEUS_DIR names
/// in the environment, and no other when it is set; then the one that the build was configured with; then in
/// PATH.
PrometheusProgram FindPrometheusProgram(const std::string& name);

}  // namespace support

/// Ends the test unless the program is there; the path is then in `variable`. Without one the test is
/// skipped, or fails where the environment says that there is one.
#define REQUIRE_PROMETHEUS_PROGRAM(variable, name)                                           \
    const support::PrometheusProgram variable##Found = support::FindPrometheusProgram(name); \
    if (variable##Found.path.empty()) {                                                      \
        if (variable##Found.isRequired) {                                                    \
            FAIL() << variable##Found.fault;                                                 \
        }                                                                                    \
        GTEST_SKIP() << variable##Found.fault;                                               \
    }                                                                                        \
    const std::string variable = variable##Found.path

#endif  // TESTS_SUPPORT_PROMETHEUS_PROGRAMS_H
