// SPDX-License-Identifier: MIT

#include "common/cpu_probe.h"

#include <filesystem>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "common/probe_parsers.h"
#include "tests/support/probe_tree.h"

namespace {

constexpr int UNKNOWN = 4;

int TypeOf(const std::string& text)
{
    probe::LineReader lines(text, probe::CPUINFO_LINE);
    return probe::ParseCpuType(lines);
}

std::string Block(const std::string& implementer, const std::string& part)
{
    return "processor\t: 0\nBogoMIPS\t: 200.00\nCPU implementer\t: " + implementer +
           "\nCPU architecture: 8\nCPU variant\t: 0x1\nCPU part\t: " + part + "\nCPU revision\t: 0\n\n";
}

TEST(ParseCpuType, RecognisesThreeParts)
{
    EXPECT_EQ(TypeOf(Block("0x48", "0xd01")), 0);
    EXPECT_EQ(TypeOf(Block("0x48", "0xd02")), 1);
    EXPECT_EQ(TypeOf(Block("0x48", "0xd06")), 2);
}

TEST(ParseCpuType, TakesTheFirstProcessorOfSeveral)
{
    EXPECT_EQ(TypeOf(Block("0x48", "0xd02") + Block("0x48", "0xd01")), 1);
    EXPECT_EQ(TypeOf(Block("0x41", "0xd02") + Block("0x48", "0xd01")), UNKNOWN);
}

TEST(ParseCpuType, ToleratesFormsOfTheSameFigures)
{
    const std::string same[] = {
        "CPU part\t: 0xd06\nCPU implementer\t: 0x48\n",       // the other order
        "CPU implementer\t: 0x48\nCPU part\t: 0xd06",         // no final line break
        "CPU implementer\t: 0X48\nCPU part\t: 0xD06\n",       // upper case
        "CPU implementer\t: 48\nCPU part\t: d06\n",           // no prefix
        "CPU implementer:   0x48\nCPU part:   0xd06\n",       // more blanks
        "CPU implementer\t: 0x00000048\nCPU part\t: 0x0d06",  // leading zeros
        "CPU implementer\t: 0x48 \r\nCPU part\t: 0xd06\r\n",  // white space behind
        "CPU implementer\t:x0x48\nCPU part\t:y0xd06\n",     // the character after the colon is not looked at
        "my CPU implementer now: 0x48\nCPU part: 0xd06\n",  // anything around the key
        "model name\t: Some Processor\nCPU implementer\t: 0x48\nCPU part\t: 0xd06\n",
        "model\nCPU implementer\t: 0x48\nCPU part\t: 0xd06\n",
        "model:\nCPU implementer\t: 0x48\nCPU part\t: 0xd06\n",
        "CPU implementer\t: 0x48\nCPU part\t: 0xd06\nCPU part\t: 0xd01\n",  // two were taken
    };
    for (const std::string& text : same) {
        EXPECT_EQ(TypeOf(text), 2) << text;
    }
}

TEST(ParseCpuType, GivesUnknownForTheRest)
{
    const std::string unknown[] = {
        "",
        "\n\n\n",
        Block("0x41", "0xd01"),
        Block("0x48", "0xd40"),
        Block("0x48", "0xd03"),
        Block("0x48", "0xd0"),
        Block("0x48", "0xd011"),
        Block("0x148", "0xd01"),
        Block("72", "0xd01"),
        Block("0x48", "3329"),
        Block("0x48", ""),
        Block("", "0xd01"),
        Block("0x48", "0x"),
        Block("0x48", "zzz"),
        Block("0x48", "0xd01z"),
        Block("0x48", "-0xd01"),
        Block("0x48", "0x10000000000000d01"),
        Block("0x100000048", "0xd01"),
        "CPU implementer\t: 0x48\n",  // the end before two values
        "CPU part\t: 0xd01\n",
        "CPU implementer\t: 0x48\nCPU implementer\t: 0x48\nCPU part\t: 0xd01\n",  // two values taken
        "CPU implementer 0x48\nCPU part 0xd01\n",                                 // no colon
        "CPU implementer:0x48\nCPU part:0xd01\n",  // two characters after the colon is "x"
        "CPU implementer:\nCPU part:\n",
        "CPU implementer: \nCPU part: \n",
        "cpu implementer\t: 0x48\ncpu part\t: 0xd01\n",
        "cpu family\t: 72\nmodel\t\t: 3329\n",  // the same figures in decimal
        "cpu family\t: 6\nmodel\t\t: 106\nmodel name\t: x\n",
        "CPU implementer\t: 0x48\nmodel\t\t: 3329\n",
        "cpu family\t: 72\nCPU part\t: 0xd01\n",
        "model: 1\nCPU implementer\t: 0x48\nCPU part\t: 0xd01\n",
        "model name\t: 13th Gen\nCPU implementer\t: 0x48\nCPU part\t: 0xd01\n",
        "CPU implementer\t: 0x48\nmodel name\t: 64-Core\nCPU part\t: 0xd01\n",
        std::string("CPU implementer\t: 0x48\0\nCPU part\t: 0xd01\n", 42),
        std::string(1U << 20, 'x'),
    };
    for (const std::string& text : unknown) {
        EXPECT_EQ(TypeOf(text), UNKNOWN) << text.substr(0, 300);
    }
}

TEST(ParseCpuType, LooksAtStretchesOf128Characters)
{
    const std::string part = "CPU part\t: 0xd01\n";
    // The key ends exactly with the stretch, its figure with the next one.
    EXPECT_EQ(TypeOf(std::string(128 - 21, 'f') + "CPU implementer\t: 0x48\n" + part), UNKNOWN);
    EXPECT_EQ(TypeOf(std::string(128 - 22, 'f') + "CPU implementer\t: 0x48\n" + part), 0);
    EXPECT_EQ(TypeOf(std::string(128, 'f') + "CPU implementer\t: 0x48\n" + part), 0);
    EXPECT_EQ(TypeOf(std::string(120, 'f') + "CPU implementer\t: 0x48\n" + part), UNKNOWN);
}

TEST(ParseCpuType, SurvivesAnyBytes)
{
    std::mt19937 random(3);
    const std::string good = Block("0x48", "0xd01");
    for (int round = 0; round < 20000; ++round) {
        std::string text = good;
        for (unsigned change = random() % 4; change < 4; ++change) {
            text[random() % text.size()] = static_cast<char>(random());
        }
        text.resize(random() % (text.size() + 1));
        const int type = TypeOf(text);
        ASSERT_TRUE(type == 0 || type == 1 || type == 2 || type == UNKNOWN) << text;
    }
}

TEST(ProcfsGetCpuType, IsUnknownWithoutAReadableFile)
{
    const support::ProbeTree tree;
    EXPECT_EQ(ProcfsGetCpuType(), UNKNOWN);
    std::filesystem::create_directories(tree.Path("proc/cpuinfo"));
    EXPECT_EQ(ProcfsGetCpuType(), UNKNOWN);
}

TEST(ProcfsGetCpuType, FindsFiguresBehindMegabytes)
{
    const support::ProbeTree tree;
    tree.Write("proc/cpuinfo", std::string(3U << 20, '\n') + Block("0x48", "0xd06"));
    EXPECT_EQ(ProcfsGetCpuType(), 2);
}

TEST(GetCpuPhyPacketId, ReadsThePackageOfACpu)
{
    const support::ProbeTree tree;
    const struct {
        const char* content;
        int package;
    } cases[] = {{"0\n", 0},           {"3\n", 3},
                 {" 36 rest", 36},     {"2147483647\n", 2147483647},
                 {"2147483648\n", -1}, {"4294967295\n", -1},
                 {"4294967296\n", -1}, {"-1\n", -1},
                 {"\n", -1},           {"", -1},
                 {"01\n", -1},         {"0x1\n", -1},
                 {"1a\n", -1}};
    for (const auto& expected : cases) {
        tree.Write("sys/devices/system/cpu/cpu7/topology/physical_package_id", expected.content);
        EXPECT_EQ(GetCpuPhyPacketId(7), expected.package) << expected.content;
    }
    EXPECT_EQ(GetCpuPhyPacketId(6), -1);
    EXPECT_EQ(GetCpuPhyPacketId(70), -1);
    EXPECT_EQ(GetCpuPhyPacketId(4294967295U), -1);
    tree.Write("sys/devices/system/cpu/cpu4294967295/topology/physical_package_id", "5\n");
    EXPECT_EQ(GetCpuPhyPacketId(4294967295U), 5);
}

TEST(IsSmtEnable, IsTrueForTheWordOneOnly)
{
    const support::ProbeTree tree;
    EXPECT_FALSE(IsSmtEnable());
    const struct {
        const char* content;
        bool enabled;
    } cases[] = {{"1\n", true}, {"1", true},     {" 1 0", true}, {"0\n", false}, {"", false},
                 {"\n", false}, {"11\n", false}, {"on", false},  {"01", false},  {"-1", false}};
    for (const auto& expected : cases) {
        tree.Write("sys/devices/system/cpu/smt/active", expected.content);
        EXPECT_EQ(IsSmtEnable(), expected.enabled) << expected.content;
    }
}

}  // namespace
