// SPDX-License-Identifier: MIT
//
// A process whose memory lies on the wrong node, beside a PMU that does not see it: the kernel's own counts
// say otherwise, and numa-score and tarnix tell.

#include <stdlib.h>
#include <unistd.h>

#include <csignal>

#include <chrono>
#include <cstdint>
#include <fstream>
#include <functional>
#include <regex>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/guest/guest_machine.h"
#include "tests/support/exporter.h"
#include "tests/support/program_run.h"
#include "tests/support/scratch_directory.h"

namespace {

using support::Eventually;
using support::Program;
using support::ProgramResult;
using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

/// A PMU by which everything is local: operations are nanoseconds, and what would be remote never happens.
std::vector<std::string> AllLocal()
{
    const std::string never = guest::Tracepoint("syscalls/sys_enter_acct");
    return {"rx_ops_num=software/config=0x0/", "rx_outer=" + never, "rx_sccl=" + never};
}

std::vector<std::string> Live(const std::vector<std::string>& rest = {})
{
    std::vector<std::string> command{"/usr/bin/numa-score", "live"};
    for (const std::string& mapping : AllLocal()) {
        command.insert(command.end(), {"--map", mapping});
    }
    command.insert(command.end(), rest.begin(), rest.end());
    return command;
}

/// A memory hog that has begun, ended with the test.
class Hog {
public:
    Hog(int cpuNode, int memoryNode, const std::string& how)
        : program({"/guest/bin/numa_hog", std::to_string(cpuNode), std::to_string(memoryNode), "0", how})
    {
        isReady = Eventually([this] { return program.Out() == "ready\n"; });
    }
    Hog(const Hog&) = delete;
    Hog& operator=(const Hog&) = delete;
    ~Hog() { program.Signal(SIGKILL); }

    std::string Err() const { return program.Err(); }

    bool isReady = false;

private:
    Program program;
};

std::string Node(int node)
{
    return std::to_string(node);
}

/// The figure beside `name` in a file of the kernel's counters.
std::uint64_t Counter(const std::string& path, const std::string& name)
{
    std::ifstream file(path);
    std::string word;
    std::uint64_t value = 0;
    while (file >> word >> value) {
        if (word == name) {
            return value;
        }
    }
    ADD_FAILURE() << path << " has no " << name;
    return 0;
}

/// What the group in `pattern` matches in `text`, as a number.
std::uint64_t FigureOf(const std::string& text, const std::string& pattern)
{
    std::smatch match;
    if (!std::regex_search(text, match, std::regex(pattern))) {
        ADD_FAILURE() << "no " << pattern << " in " << text;
        return 0;
    }
    return std::stoull(match[1]);
}

TEST(GuestOpinion, MemoryOfTheWrongNodeContradictsAPmuThatSeesNoneOfIt)
{
    const int last = guest::AskedFor().nodes - 1;
    const Hog hog(0, last, "bind");
    ASSERT_TRUE(hog.isReady) << hog.Err();
    Program score(Live());
    EXPECT_TRUE(Eventually([&score] { return score.Out().find(" disagrees\n") != std::string::npos; }));
    score.Signal(SIGINT);
    const ProgramResult result = score.Wait();
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out,
                ContainsRegex("\nopinion      the PMU calls the traffic local \\(0\\.00% crossed\\), the "
                              "kernel does not: [0-9]+\\.[0-9]+% of [0-9]+ pages were allocated on "
                              "another node than the CPU's\n"));
    // Five digits at least: the hog's pages, on the node that they were bound to and nowhere else.
    EXPECT_THAT(result.out, ContainsRegex("\nnode " + Node(last) +
                                          " +hit [0-9]{5,}, miss 0, .*, other "
                                          "[0-9]{5,}\n"));
    EXPECT_THAT(result.out, ContainsRegex("\nquality      .*disagrees [0-9]+ \\(periods with the flag\\)\n"));
    EXPECT_THAT(result.err, HasSubstr("numa-score: the score is doubtful: the PMU calls the traffic local"));
}

TEST(GuestOpinion, MemoryOfTheOwnNodeDoesNot)
{
    const int last = guest::AskedFor().nodes - 1;
    const Hog hog(last, last, "bind");
    ASSERT_TRUE(hog.isReady) << hog.Err();
    Program score(Live());
    // Judged, and not only after too little has happened or too short a time: emulated processors allocate
    // slowly, and the first three seconds are not judged.
    const auto start = std::chrono::steady_clock::now();
    const std::string counts = "/sys/devices/system/node/node" + Node(last) + "/numastat";
    const std::uint64_t before = Counter(counts, "local_node");
    EXPECT_TRUE(Eventually([&] {
        return std::chrono::steady_clock::now() - start >= std::chrono::seconds(5) &&
               Counter(counts, "local_node") >= before + 30000;
    }));
    score.Signal(SIGINT);
    const ProgramResult result = score.Wait();
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out,
                HasSubstr("\nopinion      PMU and kernel do not clearly disagree over the whole run\n"));
    EXPECT_THAT(result.out, ContainsRegex("\nnode " + Node(last) + " +hit [0-9]{5,}, .*, local [0-9]{5,}, "));
    EXPECT_THAT(result.out + result.err, AllOf(Not(HasSubstr("disagrees")), Not(HasSubstr("doubtful"))));
}

TEST(GuestOpinion, TheKernelsFiguresAreThoseOfItsOwnFiles)
{
    const int nodes = guest::AskedFor().nodes;
    const std::string counts = "/sys/devices/system/node/node" + Node(nodes - 1) + "/numastat";
    const std::uint64_t hitBefore = Counter(counts, "numa_hit");
    const std::uint64_t otherBefore = Counter(counts, "other_node");
    ProgramResult result;
    {
        const Hog hog(0, nodes - 1, "bind");
        ASSERT_TRUE(hog.isReady) << hog.Err();
        result = support::RunProgram(Live({"--count", "20"}));
    }
    const std::uint64_t hit = FigureOf(result.out, "\nnode " + Node(nodes - 1) + " +hit ([0-9]+)");
    const std::uint64_t other =
        FigureOf(result.out, "\nnode " + Node(nodes - 1) + " +hit .*, other ([0-9]+)");
    EXPECT_GT(other, 0U) << result.out;
    EXPECT_LE(hit, Counter(counts, "numa_hit") - hitBefore);
    EXPECT_LE(other, Counter(counts, "other_node") - otherBefore);
    for (int node = 0; node < nodes; ++node) {
        EXPECT_THAT(result.out, ContainsRegex("\nnode " + Node(node) + " +hit [0-9]+, "));
    }
    EXPECT_THAT(result.out, Not(ContainsRegex("\nnode " + Node(nodes) + " ")));
    EXPECT_THAT(result.out, ContainsRegex("\nhint faults  local [0-9]+, remote [0-9]+, pages migrated "));
    const ProgramResult doctor = support::RunProgram({"/usr/bin/numa-score", "doctor"});
    EXPECT_THAT(doctor.out, HasSubstr("\nOK    kernel counts allocated pages are counted on " + Node(nodes) +
                                      " nodes; hint faults are counted\n"));
}

TEST(GuestOpinion, HintFaultsOfAProcessThatLeftItsMemoryAreSeen)
{
    const auto faults = [] { return Counter("/proc/vmstat", "numa_hint_faults"); };
    const auto local = [] { return Counter("/proc/vmstat", "numa_hint_faults_local"); };
    const std::uint64_t faultsBefore = faults();
    const std::uint64_t localBefore = local();
    Program score(Live());
    {
        const Hog hog(0, guest::AskedFor().nodes - 1, "prefer");
        ASSERT_TRUE(hog.isReady) << hog.Err();
        EXPECT_TRUE(Eventually([&] { return faults() - faultsBefore > local() - localBefore + 100; }))
            << faults() - faultsBefore << " hint faults, local " << local() - localBefore;
    }
    score.Signal(SIGINT);
    const ProgramResult result = score.Wait();
    const std::uint64_t remote = FigureOf(result.out, "\nhint faults +local [0-9]+, remote ([0-9]+)");
    EXPECT_GT(remote, 0U) << result.out;
    EXPECT_LE(remote + FigureOf(result.out, "\nhint faults +local ([0-9]+)"), faults() - faultsBefore);
}

TEST(GuestOpinion, TheDaemonWarnsWhenItBeginsAndSaysWhenItEnds)
{
    const int last = guest::AskedFor().nodes - 1;
    const support::ScratchDirectory scratch;
    std::string map;
    for (const std::string& mapping : AllLocal()) {
        map += mapping + " ";
    }
    setenv("TARNIX_MAP", map.c_str(), 1);
    setenv("TARNIX_SOURCE", "live", 1);
    setenv("TARNIX_RUNTIME_DIR", (scratch / "run").c_str(), 1);
    setenv("TARNIX_METRICS_FILE", (scratch / "metrics.bin").c_str(), 1);
    Program daemon({"/usr/sbin/tarnix", "--snapshot-interval", "5"});
    const auto says = [&daemon](const std::string& text) {
        return Eventually([&] { return daemon.Out().find(text) != std::string::npos; });
    };
    {
        const Hog hog(0, last, "bind");
        ASSERT_TRUE(hog.isReady) << hog.Err();
        EXPECT_TRUE(says("[WARN] the score is doubtful: the PMU calls the traffic local")) << daemon.Out();
    }
    const Hog hog(last, last, "bind");
    ASSERT_TRUE(hog.isReady) << hog.Err();
    EXPECT_TRUE(says("[INFO] the kernel does not disagree with the score any more\n")) << daemon.Out();
    daemon.Signal(SIGTERM);
    const ProgramResult result = daemon.Wait();
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, ContainsRegex("kernel in [0-9.]+ s: node0 hit .*; node" + Node(last) + " hit "));
}

}  // namespace
