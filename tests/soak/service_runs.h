// SPDX-License-Identifier: MIT

#ifndef TESTS_SOAK_SERVICE_RUNS_H
#define TESTS_SOAK_SERVICE_RUNS_H

#include <cstdint>

/// The runs of the runtime services, each as soak::Run has it.
namespace soak {

/// Metrics files written while four threads read: each sees whole records only, never an older one after a
/// newer one.
bool Dumps(std::uint64_t dumps);

/// Configuration files of 200 processes loaded again: good ones in turns, and bad ones that have to be
/// refused.
bool Reloads(std::uint64_t reloads);

/// Lines from eight threads while the log file is renamed and opened anew: each line once, whole, in the
/// order of its thread.
bool LogLines(std::uint64_t lines);

}  // namespace soak

#endif  // TESTS_SOAK_SERVICE_RUNS_H
