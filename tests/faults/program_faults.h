// SPDX-License-Identifier: MIT

#ifndef TESTS_FAULTS_PROGRAM_FAULTS_H
#define TESTS_FAULTS_PROGRAM_FAULTS_H

#include <cstddef>

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/faults/swept_calls.h"
#include "tests/support/program_run.h"

namespace faults {

/// How a program ended with a fault in it.
struct FaultyRun {
    support::ProgramResult result;
    std::size_t failed = 0;                                ///< calls or requests for memory that failed
    std::size_t failedErrorWrites = 0;                     ///< those of them that were to say why
    std::size_t requests = 0;                              ///< requests for memory in all
    std::vector<std::pair<SweptCall, std::size_t>> calls;  ///< how often each was made
};

/// A call, its errno or SHORT, which one of the kind, and whether the later ones fail as well.
std::string CallFaultText(const SweptCall& call, std::size_t nth, bool andLater, int error);
std::string MemoryFaultText(std::size_t nth, bool andLater);

/// Counts everything and fails nothing.
const char* const NO_FAULT = "none";

/// A program to run: its arguments, and for one that does not end by itself when SIGTERM ends it.
struct FaultyProgram {
    std::vector<std::string> command;
    int endMs = 0;  ///< from when it is ready for SIGTERM; 0: it ends by itself
    const char* preload = FAULT_PRELOAD;
};

/// Runs a program with a fault from its main on.
FaultyRun RunWithFault(const std::string& fault, const FaultyProgram& program);

}  // namespace faults

#endif  // TESTS_FAULTS_PROGRAM_FAULTS_H
