// SPDX-License-Identifier: MIT

#include "common/numa_probe.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "common/probe_parsers.h"
#include "tests/support/probe_tree.h"

namespace {

constexpr const char* SWITCH = "proc/sys/kernel/numa_balancing";

unsigned long FreeOf(const std::string& text)
{
    probe::LineReader lines(text, probe::MEMINFO_LINE);
    return probe::ParseMemFree(lines);
}

std::string ContentOf(const std::string& path)
{
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

TEST(ParseMemFree, TakesTheFirstLineWithTheKey)
{
    const struct {
        const char* text;
        unsigned long freeKb;
    } cases[] = {
        {"Node 0 MemTotal:       65842000 kB\nNode 0 MemFree:        1234567 kB\n", 1234567},
        {"MemFree: 5", 5},
        {"MemFree:5", 5},
        {"MemFree:\t 5\tkB\n", 5},
        {"MemFree: 5\r\n", 5},
        {"MemFree: 007 kB\n", 7},
        {"XMemFreeX: 8 kB\n", 8},
        {"MemFree: 8:9 kB\nMemFree: 9 kB\n", 0},
        {"MemFree: 1 kB\nMemFree: 2 kB\n", 1},
        {"MemFree 3 kB\nMemFree: 4 kB\n", 4},
        {"Other: MemFree: 3\nMemFree: 4\n", 4},
        {"MemFree: 18446744073709551615 kB\n", 18446744073709551615UL},
        {"MemFree: 18446744073709551616 kB\nMemFree: 4\n", 0},
        {"MemFree: -5 kB\n", 0},
        {"MemFree: +5 kB\n", 0},
        {"MemFree: 5kB\n", 0},
        {"MemFree: 0x10 kB\n", 0},
        {"MemFree: kB\n", 0},
        {"MemFree:\n5\n", 0},
        {"MemFree:", 0},
        {"memfree: 5\n", 0},
        {"MemTotal: 5\n", 0},
        {":5\n", 0},
        {"", 0},
    };
    for (const auto& expected : cases) {
        EXPECT_EQ(FreeOf(expected.text), expected.freeKb) << expected.text;
    }
}

TEST(ParseMemFree, CutsLinesAfter255Characters)
{
    EXPECT_EQ(FreeOf(std::string(255 - 10, 'x') + "MemFree: 5 kB\n"), 5U);
    EXPECT_EQ(FreeOf(std::string(255 - 9, 'x') + "MemFree: 5 kB\n"), 0U);  // the figure is beyond the cut
    EXPECT_EQ(FreeOf(std::string(255 - 7, 'x') + "MemFree: 5 kB\n"), 0U);  // the colon is beyond the cut
    EXPECT_EQ(FreeOf(std::string(255, 'x') + "MemFree: 5 kB\n"), 5U);      // a stretch of its own
    EXPECT_EQ(FreeOf(std::string(255, 'x') + "\nMemFree: 5 kB\n"), 5U);
}

TEST(GetNumaFreeMem, ReadsTheNodeAskedFor)
{
    const support::ProbeTree tree;
    tree.Write("sys/devices/system/node/node1/meminfo", "Node 1 MemFree:  11 kB\n");
    tree.Write("sys/devices/system/node/node12/meminfo", "Node 12 MemFree:  12 kB\n");
    tree.Write("sys/devices/system/node/node-1/meminfo", "Node -1 MemFree:  13 kB\n");
    std::filesystem::create_directories(tree.Path("sys/devices/system/node/node3/meminfo"));
    EXPECT_EQ(GetNumaFreeMem(1), 11U);
    EXPECT_EQ(GetNumaFreeMem(12), 12U);
    EXPECT_EQ(GetNumaFreeMem(-1), 13U);
    EXPECT_EQ(GetNumaFreeMem(0), 0U);
    EXPECT_EQ(GetNumaFreeMem(3), 0U);
    EXPECT_EQ(GetNumaFreeMem(2147483647), 0U);
}

TEST(GetNumaFreeMem, StopsInAnEndlessFile)
{
    const support::ProbeTree tree;
    std::filesystem::create_directories(tree.Path("sys/devices/system/node/node0"));
    std::filesystem::create_symlink("/dev/zero", tree.Path("sys/devices/system/node/node0/meminfo"));
    EXPECT_EQ(GetNumaFreeMem(0), 0U);
}

TEST(GetNumaFreeMem, KnowsThisMachine)
{
    if (!std::filesystem::exists("/sys/devices/system/node/node0/meminfo")) {
        GTEST_SKIP() << "the kernel shows no NUMA nodes";
    }
    EXPECT_GT(GetNumaFreeMem(0), 0U);
    EXPECT_EQ(GetNumaFreeMem(99999), 0U);
}

TEST(ProcfsIsNbEnable, IsTrueForTheWordOneOnly)
{
    const support::ProbeTree tree;
    EXPECT_FALSE(ProcfsIsNbEnable());
    const struct {
        const char* content;
        bool enabled;
    } cases[] = {{"1\n", true}, {"1", true},     {"0\n", false}, {"2\n", false},
                 {"", false},   {"10\n", false}, {"on\n", false}};
    for (const auto& expected : cases) {
        tree.Write(SWITCH, expected.content);
        EXPECT_EQ(ProcfsIsNbEnable(), expected.enabled) << expected.content;
    }
}

TEST(ProcfsChangeNbState, WritesOneByteOverWhatStoodThere)
{
    const support::ProbeTree tree;
    const std::string path = tree.Write(SWITCH, "0\nlonger text\n");
    ProcfsChangeNbState(true);
    EXPECT_EQ(ContentOf(path), "1");
    EXPECT_TRUE(ProcfsIsNbEnable());
    ProcfsChangeNbState(false);
    EXPECT_EQ(ContentOf(path), "0");
    EXPECT_FALSE(ProcfsIsNbEnable());
}

TEST(ProcfsChangeNbState, FailsInSilence)
{
    const support::ProbeTree tree;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    ProcfsChangeNbState(true);
    std::filesystem::create_directories(tree.Path(SWITCH));
    ProcfsChangeNbState(true);
    EXPECT_FALSE(ProcfsIsNbEnable());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(ProcfsChangeNbState, DoesNotWaitForTheReaderOfAFifo)
{
    const support::ProbeTree tree;
    std::filesystem::create_directories(tree.Path("proc/sys/kernel"));
    ASSERT_EQ(mkfifo(tree.Path(SWITCH).c_str(), 0600), 0);
    ProcfsChangeNbState(true);
    EXPECT_FALSE(ProcfsIsNbEnable());
}

TEST(ProcfsChangeNbState, KeepsTheSwitchOfThisMachineWhenAskedForItsState)
{
    const bool on = ProcfsIsNbEnable();
    if (access("/proc/sys/kernel/numa_balancing", W_OK) != 0) {
        GTEST_SKIP() << "no right to write /proc/sys/kernel/numa_balancing";
    }
    if (!on && ContentOf("/proc/sys/kernel/numa_balancing") != "0\n") {
        GTEST_SKIP() << "the switch is in a state that writing 0 would change";
    }
    ProcfsChangeNbState(on);
    EXPECT_EQ(ProcfsIsNbEnable(), on);
}

}  // namespace
