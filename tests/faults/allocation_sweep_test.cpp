// SPDX-License-Identifier: MIT

// Memory runs out at every allocation of every exported operation: no crash, no leak, the documented result
// or std::bad_alloc, nothing half changed, and the next call succeeds.

#include <cstdio>
#include <cstdlib>

#include <gtest/gtest.h>

#include "tests/faults/allocation_sweep.h"
#include "tests/faults/bad_operations.h"

namespace {

using faults::Operation;
using support::Failing;

class AllocationSweep : public testing::TestWithParam<Operation> {};

TEST_P(AllocationSweep, EndsInTheDocumentedWay)
{
    std::size_t one = 0;
    std::size_t all = 0;
    for (const Failing which : {Failing::ONE, Failing::ALL_FROM}) {
        const faults::SweepReport report = faults::SweepAllocations(GetParam(), which);
        (which == Failing::ONE ? one : all) = report.injected;
        for (const std::string& fault : report.faults) {
            ADD_FAILURE() << fault;
        }
    }
    if (!HasFailure() && GetParam().memory != faults::Memory::NONE) {
        EXPECT_GT(one, 0U) << "allocates nothing: say so in its row";
    }
    RecordProperty("injected", static_cast<int>(one + all));
    std::printf("%s: %zu failed requests of %s\n", GetParam().name.c_str(), one + all, support::MemoryKind());
}

/// The sweep finds what it is there to find, and nothing in an operation that is good.
TEST(AllocationSweepItself, ReportsWhatIsBad)
{
    for (const auto& [operation, fault, memory, calls] : faults::BadOperations()) {
        if (!memory) {
            continue;
        }
        for (const Failing which : {Failing::ONE, Failing::ALL_FROM}) {
            const faults::SweepReport report = faults::SweepAllocations(operation, which);
            std::string found;
            for (const std::string& one : report.faults) {
                found += one + "\n";
            }
            EXPECT_EQ(found.empty(), fault.empty()) << operation.name << "\n" << found;
            EXPECT_NE(found.find(fault), std::string::npos) << operation.name << "\n" << found;
        }
    }
}

std::string NameOf(const testing::TestParamInfo<Operation>& info)
{
    std::string name = info.param.name;
    for (char& c : name) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        c = plain ? c : '_';
    }
    return name;
}

INSTANTIATE_TEST_SUITE_P(Operations, AllocationSweep, testing::ValuesIn(faults::AllOperations()), NameOf);

}  // namespace
