// SPDX-License-Identifier: MIT

// No probe throws, also when memory runs out at any of its allocations: it gives its result or its failure
// result.

#include <functional>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/probes.h"
#include "tests/support/failing_memory.h"
#include "tests/support/probe_tree.h"

namespace {

/// More than any probe allocates here.
constexpr size_t ENOUGH = 50;

/// A result as text. Every value is longer than what a string holds without memory of its own.
struct Probe {
    const char* name;
    std::function<void(std::string& result)> run;
    std::string expected;
    std::string failure;  ///< as expected for probes that need no memory at all
};

std::string Text(bool value)
{
    return value ? "true" : "false";
}

class ProbeMemory : public testing::Test {
protected:
    ProbeMemory()
    {
        support::WriteProbedFiles(tree);
        wordFile = tree.Write("word", "a-word-of-more-than-fifteen-characters\n");
    }
    ~ProbeMemory() override { support::AllowMemory(); }

    support::ProbeTree tree;
    std::string wordFile;
};

TEST_F(ProbeMemory, NoneThrowsWhateverAllocationFails)
{
    const std::string interface = "an-interface";
    const std::string address = "fe80:0000:0000:0000:0204:61ff:192.168.100.228";
    const std::string longAddress(100, '1');
    const std::vector<Probe> probes = {
        {"IsSmtEnable", [](std::string& out) { out = Text(IsSmtEnable()); }, "true", "true"},
        {"GetCpuPhyPacketId", [](std::string& out) { out = std::to_string(GetCpuPhyPacketId(7)); }, "3", "3"},
        {"GetNetIntfNode", [&](std::string& out) { out = std::to_string(GetNetIntfNode(interface)); }, "2",
         "2"},
        {"GetNumaFreeMem", [](std::string& out) { out = std::to_string(GetNumaFreeMem(1)); }, "4711", "4711"},
        {"ProcfsIsNbEnable", [](std::string& out) { out = Text(ProcfsIsNbEnable()); }, "true", "true"},
        {"ProcfsGetCpuType", [](std::string& out) { out = std::to_string(ProcfsGetCpuType()); }, "1", "1"},
        {"IsValidIpAddress", [&](std::string& out) { out = Text(IsValidIpAddress(address)); }, "true",
         "true"},
        {"IsValidIpAddress", [&](std::string& out) { out = Text(IsValidIpAddress(longAddress)); }, "false",
         "false"},
        {"GetKernelVersion", [](std::string& out) { out = GetKernelVersion(); }, "5.10000000000000000000",
         ""},
        {"ProcfsGetComm", [](std::string& out) { out = ProcfsGetComm(42); }, "kworker/u128:3-events_unbound",
         "_unknown"},
        {"GetCmdline", [](std::string& out) { out = GetCmdline(42); }, std::string(100000, 'x'), ""},
        {"FloatToStr", [](std::string& out) { out = FloatToStr(0.5F, 20); }, "0.50000000000000000000", ""},
        {"ReadStrFromFile",
         [&](std::string& out) {
             if (!ReadStrFromFile(wordFile, out)) {
                 out = "false";
             }
         },
         "a-word-of-more-than-fifteen-characters", "false"},
        {"GetProcStatus",
         [](std::string& out) {
             ProcStatus status;
             out = GetProcStatus(42, status) ? std::move(status.name) : "false";
         },
         "kworker/u128:3-events_unbound", "false"},
        {"ProcessGetMemDistribution",
         [](std::string& out) {
             std::vector<unsigned> pages;
             out = Text(ProcessGetMemDistribution(42, pages, 2) && pages[0] == 5 && pages[1] == 6);
         },
         "true", "false"},
    };
    for (const Probe& probe : probes) {
        for (size_t allowed = 0; allowed <= ENOUGH; ++allowed) {
            std::string result;
            bool threw = false;
            support::FailMemory(allowed + 1, support::Failing::ALL_FROM);
            try {
                probe.run(result);
            } catch (const std::bad_alloc&) {
                threw = true;
            }
            support::AllowMemory();
            EXPECT_FALSE(threw) << probe.name << " after " << allowed;
            EXPECT_TRUE(result == probe.expected || (allowed < ENOUGH && result == probe.failure))
                << probe.name << " after " << allowed << ": " << result;
            if (allowed == 0) {
                EXPECT_EQ(result, probe.failure) << probe.name;
            }
        }
    }
}

}  // namespace
