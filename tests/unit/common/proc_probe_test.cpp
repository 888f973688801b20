// SPDX-License-Identifier: MIT

#include "common/proc_probe.h"

#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/probe_parsers.h"
#include "tests/support/probe_tree.h"

namespace {

std::string WithNuls(std::string text)
{
    for (char& c : text) {
        c = c == '|' ? '\0' : c;
    }
    return text;
}

TEST(ProcfsGetComm, IsTheFirstLine)
{
    const support::ProbeTree tree;
    const struct {
        const char* name;
        std::string content;
        std::string comm;
    } cases[] = {{"plain", "redis-server\n", "redis-server"},
                 {"no line break", "bash", "bash"},
                 {"empty", "", ""},
                 {"begins with a line break", "\nPPid:\t1\n", ""},
                 {"forged lines", "a\nPPid:\t1\n", "a"},
                 {"blanks and brackets", " (a) [b] \n", " (a) [b] "},
                 {"escape bytes", "\x1b[2J\x07\n", "\x1b[2J\x07"},
                 {"not UTF-8", "\xff\xfe\x80\n", "\xff\xfe\x80"},
                 {"a NUL", std::string("a\0b\n", 4), std::string("a\0b", 3)},
                 {"far too long", std::string(1U << 20, 'x'), std::string(1023, 'x')}};
    for (const auto& expected : cases) {
        tree.Write("proc/42/comm", expected.content);
        EXPECT_EQ(ProcfsGetComm(42), expected.comm) << expected.name;
    }
}

TEST(ProcfsGetComm, IsUnknownWithoutAReadableFile)
{
    const support::ProbeTree tree;
    std::filesystem::create_directories(tree.Path("proc/7/comm"));
    tree.Write("proc/comm", "no process\n");
    for (const int pid : {0, 1, -1, 7, INT_MAX, INT_MIN}) {
        EXPECT_EQ(ProcfsGetComm(pid), "_unknown") << pid;
    }
}

TEST(GetProcStatus, ReadsNameAndParent)
{
    const support::ProbeTree tree;
    const std::string oldName = "old";
    constexpr unsigned OLD = 77;
    const struct {
        const char* what;
        std::string content;
        std::string name;
        unsigned ppid;
    } cases[] = {
        {"plain", "Name:\tbash\nUmask:\t0022\nPid:\t42\nPPid:\t1\nTracerPid:\t0\n", "bash", 1},
        {"blanks and tabs", "Name: \t  bash\nPPid:\t \t 12\n", "bash", 12},
        {"blanks inside and behind stay", "Name:\ta b \nPPid:\t12\n", "a b ", 12},
        {"nothing between", "Name:bash\nPPid:12\n", "bash", 12},
        {"the other order", "PPid:\t12\nName:\tbash\n", "bash", 12},
        {"no final line break", "Name:\tbash\nPPid:\t12", "bash", 12},
        {"empty name", "Name:\nPPid:\t12\n", "", 12},
        {"escaped line break", "Name:\ta\\nPPid:\t1\nPPid:\t12\n", "a\\nPPid:\t1", 12},
        {"a name like a key", "Name:\tPPid:\nPPid:\t12\n", "PPid:", 12},
        {"key not at the start", " Name:\tx\nXPPid:\t3\n", oldName, OLD},
        {"other case", "name:\tx\nppid:\t3\n", oldName, OLD},
        {"no colon", "Name\tx\nPPid\t3\n", oldName, OLD},
        {"empty file", "", oldName, OLD},
        {"no parent", "Name:\tbash\nTgid:\t1\n", "bash", OLD},
        {"no name", "PPid:\t12\n", oldName, 12},
        {"largest parent", "PPid:\t4294967295\n", oldName, 4294967295U},
        {"parent out of range", "Name:\tx\nPPid:\t4294967296\n", "x", OLD},
        {"negative parent", "Name:\tx\nPPid:\t-1\n", "x", OLD},
        {"parent with a blank behind", "Name:\tx\nPPid:\t1 \n", "x", OLD},
        {"parent with a leading zero", "Name:\tx\nPPid:\t01\n", "x", OLD},
        {"empty parent", "Name:\tx\nPPid:\t\n", "x", OLD},
        {"behind a long line", "Name:\tx\nGroups:\t" + std::string(300000, '1') + "\nPPid:\t12\n", "x", 12},
        {"inside a long line", "Name:\tx\n" + std::string(1023, 'g') + "PPid:\t13\nPPid:\t12\n", "x", 12},
        {"binary", std::string("\0\xff\0Name:\tx\n", 11), oldName, OLD},
    };
    for (const auto& expected : cases) {
        tree.Write("proc/42/status", expected.content);
        ProcStatus status{oldName, OLD};
        EXPECT_TRUE(GetProcStatus(42, status)) << expected.what;
        EXPECT_EQ(status.name, expected.name) << expected.what;
        EXPECT_EQ(status.ppid, expected.ppid) << expected.what;
    }
}

TEST(GetProcStatus, IsFalseWithoutAReadableFile)
{
    const support::ProbeTree tree;
    std::filesystem::create_directories(tree.Path("proc/7/status"));
    ProcStatus status{"old", 77};
    for (const unsigned long pid : {0UL, 7UL, 42UL, ULONG_MAX}) {
        EXPECT_FALSE(GetProcStatus(pid, status)) << pid;
    }
    EXPECT_EQ(status.name, "old");
    EXPECT_EQ(status.ppid, 77U);
    tree.Write("proc/18446744073709551615/status", "Name:\tlast\n");
    EXPECT_TRUE(GetProcStatus(ULONG_MAX, status));
    EXPECT_EQ(status.name, "last");
}

TEST(GetCmdline, JoinsArgumentsWithBlanks)
{
    const support::ProbeTree tree;
    const struct {
        const char* bytes;  // with | for NUL
        const char* line;
    } cases[] = {{"", ""},
                 {"|", ""},
                 {"a", "a"},
                 {"a|", "a"},
                 {"a|b|", "a b"},
                 {"a|b", "a b"},
                 {"a||b|", "a  b"},
                 {"a||", "a "},
                 {"|a|", " a"},
                 {"||", " "},
                 {"/usr/bin/redis-server|--port|6379|", "/usr/bin/redis-server --port 6379"},
                 {"a b|c\nd|\x1b[0m|", "a b c\nd \x1b[0m"}};
    for (const auto& expected : cases) {
        tree.Write("proc/42/cmdline", WithNuls(expected.bytes));
        EXPECT_EQ(GetCmdline(42), expected.line) << expected.bytes;
    }
}

TEST(GetCmdline, ReadsEveryLengthWholeUpToItsBound)
{
    const support::ProbeTree tree;
    constexpr size_t BOUND = 8U << 20;
    for (const size_t length :
         {size_t{4095}, size_t{4096}, size_t{4097}, size_t{65535}, size_t{65536}, size_t{65537},
          size_t{131072}, size_t{2000037}, BOUND - 1, BOUND, BOUND + 1, BOUND * 2}) {
        std::string bytes(length, 'x');
        for (size_t at = 100; at < length - 1; at += 1000) {
            bytes[at] = '\0';
        }
        tree.Write("proc/42/cmdline", bytes);
        std::string expected = bytes.substr(0, BOUND);
        for (char& c : expected) {
            c = c == '\0' ? ' ' : c;
        }
        EXPECT_TRUE(GetCmdline(42) == expected) << length;
    }
}

TEST(GetCmdline, JoinsAcrossEveryBorderOfItsPortions)
{
    const support::ProbeTree tree;
    constexpr size_t FIRST = 4096;
    constexpr size_t PORTION = 65536;
    for (const size_t border : {FIRST, FIRST + PORTION, FIRST + 2 * PORTION}) {
        // Runs of NULs that end before, at and behind the border, in the middle of the text and at its end.
        for (size_t begin = border - 3; begin <= border + 1; ++begin) {
            for (size_t length = 1; length <= 4; ++length) {
                for (const size_t rest : {size_t{0}, size_t{1}, size_t{70000}}) {
                    const std::string head(begin, 'x');
                    const std::string tail(rest, 'y');
                    tree.Write("proc/42/cmdline", head + std::string(length, '\0') + tail);
                    const size_t blanks = rest == 0 ? length - 1 : length;
                    EXPECT_TRUE(GetCmdline(42) == head + std::string(blanks, ' ') + tail)
                        << begin << " " << length << " " << rest;
                }
            }
        }
    }
}

TEST(GetCmdline, IsEmptyWithoutAReadableFile)
{
    const support::ProbeTree tree;
    std::filesystem::create_directories(tree.Path("proc/7/cmdline"));
    std::filesystem::create_directories(tree.Path("proc/8"));
    ASSERT_EQ(mkfifo(tree.Path("proc/8/cmdline").c_str(), 0600), 0);
    for (const int pid : {0, -1, 7, 8, INT_MAX}) {
        EXPECT_EQ(GetCmdline(pid), "") << pid;
    }
}

TEST(ProcessGetMemDistribution, SumsPagesPerNode)
{
    const support::ProbeTree tree;
    using Pages = std::vector<unsigned>;
    const struct {
        const char* what;
        std::string content;
        int nodes;
        Pages pages;
    } cases[] = {
        {"no mapping", "", 2, {0, 0}},
        {"one", "7f00 default anon=3 dirty=3 N0=3 kernelpagesize_kB=4\n", 1, {3}},
        {"several", "7f00 default N0=3 N1=4\n7f10 bind:0-1 N1=5 N0=6\n", 2, {9, 9}},
        {"nodes outside", "7f00 default N0=1 N2=4 N3=5 N99999999999999999999=6\n", 2, {1, 0}},
        {"more nodes than entries", "7f00 default N1=4\n", 4, {0, 4, 0, 0}},
        {"node 15", "7f00 default N15=4 N1=2\n", 16, {0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 4}},
        {"no final line break", "7f00 default N0=3", 1, {3}},
        {"tabs", "7f00\tdefault\tN0=3\tN1=4\r\n", 2, {3, 4}},
        {"file names are escaped", "7f00 default file=/a\\040N0\\0759 N0=1\n", 1, {1}},
        {"entries in a file name", "7f00 default file=N0=9 file=/N0=9 N0=1\n", 1, {1}},
        {"other words", "7f00 default n0=1 XN0=1 NN0=1 N=1 N0 N0= N0:1 =1 N0=1\n", 1, {1}},
        {"malformed figures",
         "7f00 N0=-1 N0=+1 N0=x N0=1x N0=0x1 N0=1.5 N-1=1 N+0=1 N0x=1 N0==1 N0=2\n",
         1,
         {2}},
        {"figures beyond 64 bits", "7f00 N0=18446744073709551616 N0=5\n", 1, {5}},
        {"saturated at once", "7f00 N0=4294967296 N1=4294967295\n", 2, {UINT_MAX, UINT_MAX}},
        {"saturated by a sum", "7f00 N0=4294967290\n7f10 N0=5\n7f20 N0=1\n7f30 N0=100\n", 1, {UINT_MAX}},
        {"a word too long", "7f00 N0=" + std::string(40, '0') + "7 N0=2\n", 1, {2}},
        {"NUL inside", std::string("7f00 N0=1\0 N0=2\n", 16), 1, {2}},
    };
    for (const auto& expected : cases) {
        tree.Write("proc/42/numa_maps", expected.content);
        Pages pages{9, 9, 9};
        EXPECT_TRUE(ProcessGetMemDistribution(42, pages, expected.nodes)) << expected.what;
        EXPECT_EQ(pages, expected.pages) << expected.what;
    }
}

TEST(ProcessGetMemDistribution, TellsWhetherTheFileCouldBeRead)
{
    const support::ProbeTree tree;
    std::filesystem::create_directories(tree.Path("proc/7/numa_maps"));
    std::vector<unsigned> pages{9, 9, 9};
    EXPECT_FALSE(ProcessGetMemDistribution(42, pages, 2));
    EXPECT_EQ(pages, (std::vector<unsigned>{0, 0}));
    pages = {9};
    EXPECT_FALSE(ProcessGetMemDistribution(7, pages, 2));
    EXPECT_EQ(pages, (std::vector<unsigned>{0, 0}));
}

TEST(ProcessGetMemDistribution, HasNothingForNoNodes)
{
    const support::ProbeTree tree;
    tree.Write("proc/42/numa_maps", "7f00 default N0=3\n");
    for (const int nodes : {0, -1, INT_MIN}) {
        std::vector<unsigned> pages{9, 9};
        EXPECT_FALSE(ProcessGetMemDistribution(42, pages, nodes)) << nodes;
        EXPECT_TRUE(pages.empty()) << nodes;
    }
}

TEST(NodePageCounter, GivesTheSameForAnyPortions)
{
    std::string text;
    for (int line = 0; line < 200; ++line) {
        text +=
            "7f" + std::to_string(line) + " default anon=1 N0=" + std::to_string(line) + " N1=7 N2=x N33=1\n";
    }
    std::mt19937 random(4);
    for (int round = 0; round < 200; ++round) {
        std::vector<unsigned> pages(2);
        probe::NodePageCounter counter(pages);
        for (size_t at = 0; at < text.size();) {
            const size_t length = 1 + random() % 40;
            counter.Feed(std::string_view(text).substr(at, length));
            at += length;
        }
        counter.Finish();
        ASSERT_EQ(pages, (std::vector<unsigned>{19900, 1400}));
    }
}

}  // namespace
