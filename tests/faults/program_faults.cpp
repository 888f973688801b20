// SPDX-License-Identifier: MIT

#include "tests/faults/program_faults.h"

#include <stdlib.h>

#include <fstream>

#include "tests/support/scratch_directory.h"

namespace faults {
namespace {

void ReadCounts(const std::string& name, FaultyRun& run)
{
    std::ifstream counts(name);
    counts >> run.failed >> run.failedErrorWrites >> run.requests;
    std::string call;
    long number = 0;
    std::size_t count = 0;
    while (counts >> call >> number >> count) {
        for (const SweptCall& kind : SweptCallTable()) {
            if (kind.number == number && count > 0) {
                run.calls.emplace_back(kind, count);
            }
        }
    }
}

}  // namespace

std::string CallFaultText(const SweptCall& call, std::size_t nth, bool andLater, int error)
{
    return "call " + std::to_string(call.number) + " " + std::to_string(nth) +
           (andLater ? " all " : " one ") + std::to_string(error);
}

std::string MemoryFaultText(std::size_t nth, bool andLater)
{
    return "memory " + std::to_string(nth) + (andLater ? " all" : " one");
}

FaultyRun RunWithFault(const std::string& fault, const FaultyProgram& program)
{
    const support::ScratchDirectory scratch;
    setenv("FAULT", fault.c_str(), 1);
    setenv("FAULT_COUNT", (scratch / "counts").c_str(), 1);
    if (program.endMs > 0) {
        setenv("FAULT_END", std::to_string(program.endMs).c_str(), 1);
    }
    setenv("LD_PRELOAD", program.preload, 1);
    support::Program running(program.command);
    unsetenv("LD_PRELOAD");
    unsetenv("FAULT_END");
    FaultyRun run;
    run.result = running.Wait();
    ReadCounts(scratch / "counts", run);
    return run;
}

}  // namespace faults
