// SPDX-License-Identifier: MIT

// Every call on files of every exported operation fails, is interrupted or takes one byte: no crash, no hang,
// no descriptor left, the documented result, and the next call succeeds.

#include <string.h>
#include <unistd.h>

#include <iostream>

#include <gtest/gtest.h>

#include "tests/faults/bad_operations.h"
#include "tests/faults/call_sweep.h"
#include "tests/faults/swept_calls.h"
#include "tests/support/child_run.h"
#include "tests/support/failing_calls.h"

namespace {

using faults::Operation;

constexpr int NO_FILTER = 77;

/// Filtering is for life, so each sweep has a process of its own. The alarm ends one that hangs.
support::ChildResult InFilteredChild(const std::function<int()>& body)
{
    return support::RunInChild([&body] {
        alarm(15);
        if (const int error = support::FilterCalls(faults::SweptCalls()); error != 0) {
            std::cout << "system calls cannot be filtered here: " << strerror(error) << "\n";
            return NO_FILTER;
        }
        return body();
    });
}

class CallSweep : public testing::TestWithParam<Operation> {};

TEST_P(CallSweep, EndsInTheDocumentedWay)
{
#if defined(__SANITIZE_THREAD__)
    // log4cplus has threads from the start.
    if (GetParam().name == "PassiveWatchdog::Start" || GetParam().name == "PassiveWatchdog::Stop") {
        GTEST_SKIP() << "ThreadSanitizer starts no thread in a child of a program with threads";
    }
#endif
    const support::ChildResult result = InFilteredChild([] {
        const faults::SweepReport report = faults::SweepCalls(GetParam());
        std::cout << GetParam().name << ": " << report.injected << " failed calls\n";
        for (const std::string& fault : report.faults) {
            std::cout << fault << "\n";
        }
        return report.faults.empty() ? 0 : 1;
    });
    if (result.status == NO_FILTER) {
        GTEST_SKIP() << result.out;
    }
    EXPECT_EQ(result.status, 0) << result.out << result.err;
    const std::size_t count =
        result.out.find(GetParam().name + ": ");  // after what the operation itself says
    ASSERT_NE(count, std::string::npos) << result.out;
    std::cout << result.out.substr(count, result.out.find('\n', count) + 1 - count);
}

std::string CallsInChild(const Operation& operation)
{
    return InFilteredChild([&operation] {
               std::cout << faults::CallsOf(operation) << std::flush;
               return 0;
           })
        .out;
}

/// The sweep is as good as the view of the calls that it fails.
TEST(CallFilter, SeesEveryCallOfAnOperation)
{
    for (const Operation& operation : faults::AllOperations()) {
        if (operation.name == "Metrics::Dump") {
            const std::string calls = CallsInChild(operation);
            if (calls.find("cannot be filtered") != std::string::npos) {
                GTEST_SKIP() << calls;
            }
            for (const char* const name : {"openat 1", "write 1", "close 1", "rename", "unlink"}) {
                EXPECT_NE(calls.find(name), std::string::npos) << name << " not in " << calls;
            }
            return;
        }
    }
    FAIL() << "Metrics::Dump has no row";
}

/// The sweep finds what it is there to find, and nothing in an operation that is good.
TEST(CallSweepItself, ReportsWhatIsBad)
{
    for (const auto& [operation, fault, memory, calls] : faults::BadOperations()) {
        if (!calls) {
            continue;
        }
        const support::ChildResult result = InFilteredChild([&swept = operation] {
            const faults::SweepReport report = faults::SweepCalls(swept);
            for (const std::string& one : report.faults) {
                std::cout << one << "\n";
            }
            return report.injected > 0 ? 0 : 1;
        });
        if (result.status == NO_FILTER) {
            GTEST_SKIP() << result.out;
        }
        EXPECT_EQ(result.status, 0) << operation.name << result.out << result.err;
        EXPECT_EQ(result.out.empty(), fault.empty()) << operation.name << "\n" << result.out;
        EXPECT_NE(result.out.find(fault), std::string::npos) << operation.name << "\n" << result.out;
    }
}

/// A call that a run makes at times only cannot be failed in every run, and the sweep says so.
TEST(CallSweepItself, SaysWhereNoCallFailed)
{
    const support::ChildResult result = InFilteredChild([] {
        const faults::SweepReport report = faults::SweepCalls(faults::FickleOperation());
        for (const std::string& one : report.faults) {
            std::cout << one << "\n";
        }
        return 0;
    });
    if (result.status == NO_FILTER) {
        GTEST_SKIP() << result.out;
    }
    EXPECT_NE(result.out.find("no call failed"), std::string::npos) << result.out;
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

INSTANTIATE_TEST_SUITE_P(Operations, CallSweep, testing::ValuesIn(faults::AllOperations()), NameOf);

}  // namespace
