// SPDX-License-Identifier: MIT
//
// numa-score and tarnix beside a kernel with several nodes whose counts this test writes, on the kernel's own
// software counters: cpu-clock (config 0x0) counts nanoseconds, alignment and emulation faults (0x7, 0x8)
// never happen here.

#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/exporter.h"
#include "tests/support/kernel_tree.h"
#include "tests/support/program_run.h"
#include "tests/support/scratch_directory.h"

namespace {

namespace fs = std::filesystem;
using support::Eventually;
using support::KernelTree;
using support::Program;
using support::ProgramResult;
using support::RunProgram;
using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

const char* const CLOCK = "software/config=0x0/";
const char* const NEVER_OUTER = "software/config=0x8/";
const char* const NEVER_SCCL = "software/config=0x7/";

std::size_t CountOf(const std::string& text, const std::string& part)
{
    std::size_t count = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size()) {
        ++count;
    }
    return count;
}

/// What happens on the machine in each tenth of a second.
struct Load {
    std::uint64_t local = 0;  ///< pages of node 0 for its own CPUs
    std::uint64_t other = 0;  ///< pages of node 1 for CPUs of node 0
    std::uint64_t hintLocal = 0;
    std::uint64_t hintRemote = 0;
};

constexpr Load LOCAL{2000, 10, 200, 1};
constexpr Load WRONG_NODE{10, 2000, 0, 0};

/// A kernel that works: its counts grow ten times a second.
class WorkingKernel {
public:
    explicit WorkingKernel(KernelTree& kernelTree) : tree(kernelTree), thread([this] { Work(); }) {}
    WorkingKernel(const WorkingKernel&) = delete;
    WorkingKernel& operator=(const WorkingKernel&) = delete;
    ~WorkingKernel()
    {
        stop = true;
        thread.join();
    }

    void Set(const Load& newLoad)
    {
        local = newLoad.local;
        other = newLoad.other;
        hintLocal = newLoad.hintLocal;
        hintRemote = newLoad.hintRemote;
    }

private:
    void Work()
    {
        while (!stop) {
            tree.Allocate(0, local, 0);
            tree.Allocate(1, 0, other);
            tree.Fault(hintLocal, hintRemote);
            tree.Write();
            usleep(100000);
        }
    }

    KernelTree& tree;
    std::atomic<std::uint64_t> local{0};
    std::atomic<std::uint64_t> other{0};
    std::atomic<std::uint64_t> hintLocal{0};
    std::atomic<std::uint64_t> hintRemote{0};
    std::atomic<bool> stop{false};
    std::thread thread;
};

class SecondOpinionTest : public testing::Test {
protected:
    void SetUp() override
    {
        setenv("LC_ALL", "C.UTF-8", 1);
        for (const char* name : {"NUMA_SCORE_PLUGIN", "NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"}) {
            unsetenv(name);
        }
        KernelTree::Put(tree.Sysfs() + "/devices/software/type", "1\n");
        KernelTree::Put(tree.Sysfs() + "/devices/system/cpu/online", "0\n");
        fs::create_directories(tree.Sysfs() + "/bus/event_source/devices");
        fs::create_directory_symlink("../../../devices/software",
                                     tree.Sysfs() + "/bus/event_source/devices/software");
        const ProgramResult trial = RunProgram(Score({"--count", "1", "--quiet"}));
        if (trial.status == 3) {
            GTEST_SKIP() << "the kernel refuses counters here: " << trial.err;
        }
        ASSERT_EQ(trial.status, 0) << trial.err;
    }

    /// A live measurement of this kernel in which `outer` counts as rx_outer.
    std::vector<std::string> Score(const std::vector<std::string>& rest,
                                   const std::string& outer = NEVER_OUTER) const
    {
        std::vector<std::string> command{NUMA_SCORE,      "live",
                                         "--sysfs-root",  tree.Sysfs(),
                                         "--procfs-root", tree.Procfs(),
                                         "--map",         std::string("rx_ops_num=") + CLOCK,
                                         "--map",         "rx_outer=" + outer,
                                         "--map",         std::string("rx_sccl=") + NEVER_SCCL};
        command.insert(command.end(), rest.begin(), rest.end());
        return command;
    }

    Program Daemon(const std::vector<std::string>& rest) const
    {
        setenv("TARNIX_METRICS_FILE", (scratch / "log/metrics.bin").c_str(), 1);
        setenv("TARNIX_RUNTIME_DIR", (scratch / "run").c_str(), 1);
        setenv("TARNIX_SYSFS_ROOT", tree.Sysfs().c_str(), 1);
        setenv("TARNIX_PROCFS_ROOT", tree.Procfs().c_str(), 1);
        setenv("TARNIX_SOURCE", "live", 1);
        setenv("TARNIX_MAP",
               (std::string("rx_ops_num=") + CLOCK + " rx_outer=" + NEVER_OUTER + " rx_sccl=" + NEVER_SCCL)
                   .c_str(),
               1);
        std::vector<std::string> command{TARNIX};
        command.insert(command.end(), rest.begin(), rest.end());
        return Program(command);
    }

    KernelTree tree{4};
    support::ScratchDirectory scratch;
};

const char* const LOCAL_DOUBT =
    "the PMU calls the traffic local \\(0\\.00% crossed\\), the kernel does not: ";

TEST_F(SecondOpinionTest, MemoryOfTheWrongNodeThatThePmuDoesNotSeeIsFlagged)
{
    WorkingKernel kernel(tree);
    kernel.Set(WRONG_NODE);
    const ProgramResult result = RunProgram(Score({"--duration", "5"}));
    EXPECT_EQ(result.status, 0) << result.err;
    const std::string shares = "99\\.[0-9]+% of [0-9]+ pages were allocated on another node than the CPU's";
    EXPECT_THAT(result.out, ContainsRegex("\nkernel       other node 99\\.[0-9]+% of [0-9]+ pages allocated, "
                                          "misses 0\\.00%\nnode 0 +hit [0-9]+, miss 0, foreign 0, interleave "
                                          "0, local [0-9]+, other 0\nnode 1 +hit [0-9]+, miss 0, foreign 0, "
                                          "interleave 0, local 0, other [0-9]+\n"));
    EXPECT_THAT(result.out, HasSubstr("\nnode 3       hit 0, miss 0, foreign 0, interleave 0, local 0, other "
                                      "0\nhint faults  local 0, remote 0, pages migrated 0\nopinion      "));
    EXPECT_THAT(result.out, ContainsRegex("\nopinion      " + (LOCAL_DOUBT + shares) + "\n"));
    EXPECT_THAT(result.out, ContainsRegex("\nquality      disagrees [0-9]+ \\(periods with the flag\\)\n"));
    EXPECT_THAT(result.out, HasSubstr(" disagrees\n"));
    EXPECT_THAT(result.err, ContainsRegex("numa-score: the score is doubtful: " + (LOCAL_DOUBT + shares) +
                                          "; see that the events, or --map, count what their names say\n"));
    EXPECT_EQ(CountOf(result.err, "doubtful"), 1U);
}

TEST_F(SecondOpinionTest, MemoryOfTheOwnNodeIsNot)
{
    WorkingKernel kernel(tree);
    kernel.Set(LOCAL);
    const ProgramResult result = RunProgram(Score({"--duration", "5"}));
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, ContainsRegex("\nkernel       other node 0\\.[0-9]+% of [0-9]+ pages"));
    EXPECT_THAT(result.out,
                HasSubstr("\nopinion      PMU and kernel do not clearly disagree over the whole run\n"));
    EXPECT_THAT(result.out + result.err, AllOf(Not(HasSubstr("disagrees")), Not(HasSubstr("doubtful"))));
}

TEST_F(SecondOpinionTest, LocalMemoryThatThePmuCallsRemoteIsFlagged)
{
    WorkingKernel kernel(tree);
    kernel.Set(LOCAL);
    const ProgramResult result = RunProgram(Score({"--duration", "5"}, CLOCK));
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(
        result.out,
        ContainsRegex("\nopinion      the PMU calls the traffic remote \\((99|100)\\.[0-9]+% from "
                      "another socket\\), the kernel does not: 0\\.[0-9]+% of [0-9]+ hint faults were "
                      "on memory of another node\n"));
    EXPECT_THAT(result.out, HasSubstr("disagrees\n"));
}

TEST_F(SecondOpinionTest, LocalAllocationsAloneDoNotContradictARemotePmu)
{
    WorkingKernel kernel(tree);
    kernel.Set({2000, 10, 0, 0});
    const ProgramResult result = RunProgram(Score({"--duration", "5"}, CLOCK));
    EXPECT_THAT(result.out,
                HasSubstr("\nopinion      PMU and kernel do not clearly disagree over the whole run\n"));
}

TEST_F(SecondOpinionTest, TooLittleToJudgeIsSaid)
{
    const ProgramResult result = RunProgram(Score({"--duration", "5"}));
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("\nkernel       no page allocated\n"));
    EXPECT_THAT(result.out, HasSubstr("\nopinion      none: too little happened: 0 of 10000 pages "
                                      "allocated, 0 of 1000 hint faults\n"));
    EXPECT_THAT(RunProgram(Score({"--count", "3"})).out,
                HasSubstr("\nopinion      none: less than 3 s were observed\n"));
}

TEST_F(SecondOpinionTest, JsonHasAnObjectOnceASecondAndCsvIsAsItWas)
{
    WorkingKernel kernel(tree);
    kernel.Set(WRONG_NODE);
    const ProgramResult json = RunProgram(Score({"--format", "json", "--count", "21"}));
    EXPECT_EQ(CountOf(json.out, "\n"), 21U);
    // Two in 2.1 s; on a machine that is late, more time passes in 21 periods.
    EXPECT_THAT(CountOf(json.out, ",\"kernel\":{\"interval_ms\":"), AllOf(testing::Ge(1U), testing::Le(10U)));
    EXPECT_THAT(json.out, HasSubstr("\"opinion\":\"undecided\",\"remote_allocation_share\":0.99"));
    EXPECT_THAT(json.out, HasSubstr(",\"numa_hint_faults\":0,"));
    EXPECT_THAT(json.err, HasSubstr("\nkernel       other node 99."));
    const ProgramResult csv = RunProgram(Score({"--format", "csv", "--count", "3"}));
    EXPECT_EQ(CountOf(csv.out, "\n"), 4U);
    EXPECT_EQ(CountOf(csv.out, ","), 4U * 11);
    EXPECT_THAT(csv.out, Not(HasSubstr("kernel")));
}

TEST_F(SecondOpinionTest, CountsThatVanishWhileItRunsAreToldOfOnce)
{
    auto kernel = std::make_unique<WorkingKernel>(tree);
    kernel->Set(WRONG_NODE);
    Program score(Score({"--duration", "8", "--format", "json"}));
    ASSERT_TRUE(Eventually([&score] { return score.Out().find(",\"kernel\":{") != std::string::npos; }));
    kernel.reset();
    fs::rename(tree.Sysfs() + "/devices/system/node", tree.Sysfs() + "/devices/system/gone");
    fs::remove(tree.Procfs() + "/vmstat");
    const ProgramResult result = score.Wait();
    EXPECT_EQ(result.status, 0) << result.err;
    const std::string nodes =
        "cannot read " + tree.Sysfs() + "/devices/system/node/online: No such file or directory";
    const std::string hints = "cannot read " + tree.Procfs() + "/vmstat: No such file or directory";
    EXPECT_EQ(CountOf(result.err, "numa-score: the kernel's counts of allocated pages are not to be had: " +
                                      nodes + "\n"),
              1U)
        << result.err;
    EXPECT_EQ(CountOf(result.err, "numa-score: hint faults are not counted: " + hints + "\n"), 1U);
    EXPECT_THAT(result.err, ContainsRegex("\nkernel       other node 99\\.[0-9]+% of [0-9]+ pages allocated, "
                                          "misses 0.00%; incomplete: cannot read "));
    EXPECT_THAT(result.err, HasSubstr("\nopinion      none: with fewer than two nodes the kernel has nothing "
                                      "to tell apart\n"));
}

TEST_F(SecondOpinionTest, WithoutNumaEverythingElseGoesOn)
{
    fs::remove_all(tree.Sysfs() + "/devices/system/node");
    fs::remove_all(tree.Procfs());
    const ProgramResult result = RunProgram(Score({"--count", "2"}));
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("\nsummary      2 periods, "));
    EXPECT_THAT(result.out,
                HasSubstr("\nkernel       allocated pages not counted: cannot read " + tree.Sysfs() +
                          "/devices/system/node/online: No such file or directory\nhint faults  not counted: "
                          "cannot read " +
                          tree.Procfs() + "/vmstat: No such file or directory\n"));
}

TEST_F(SecondOpinionTest, ARecordingHasNoKernelBesideIt)
{
    const ProgramResult result = RunProgram({NUMA_SCORE, "demo", "--speed", "max", "--count", "5"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out,
                AllOf(HasSubstr("summary "), Not(HasSubstr("kernel ")), Not(HasSubstr("opinion"))));
}

TEST_F(SecondOpinionTest, DoctorTellsWhatTheKernelCounts)
{
    const auto doctor = [this] {
        return RunProgram(
                   {NUMA_SCORE, "doctor", "--sysfs-root", tree.Sysfs(), "--procfs-root", tree.Procfs()})
            .out;
    };
    EXPECT_THAT(doctor(),
                HasSubstr("\nOK    kernel counts allocated pages are counted on 4 nodes; hint faults "
                          "are counted\n"));
    KernelTree::Put(tree.Procfs() + "/sys/kernel/numa_balancing", "0\n");
    EXPECT_THAT(doctor(),
                HasSubstr("\nOK    kernel counts allocated pages are counted on 4 nodes; hint faults "
                          "are not counted: kernel.numa_balancing is 0\n"));
    KernelTree::Put(tree.Procfs() + "/sys/vm/numa_stat", "0\n");
    EXPECT_THAT(
        doctor(),
        HasSubstr("\nWARN  kernel counts allocated pages are not counted: vm.numa_stat is 0; hint "
                  "faults are not counted: kernel.numa_balancing is 0; remedy: the score has no second "
                  "opinion without them: see that sysfs and procfs are mounted and that vm.numa_stat "
                  "is 1\n"));
}

TEST_F(SecondOpinionTest, TheDaemonLogsTheKernelsCountsAndTheDisagreement)
{
    WorkingKernel kernel(tree);
    kernel.Set(WRONG_NODE);
    Program daemon = Daemon({"--snapshot-interval", "2"});
    const auto says = [&daemon](const std::string& text) {
        return Eventually([&] { return daemon.Out().find(text) != std::string::npos; });
    };
    EXPECT_TRUE(says("[WARN] the score is doubtful: ")) << daemon.Out();
    kernel.Set(LOCAL);
    EXPECT_TRUE(says("[INFO] the kernel does not disagree with the score any more\n")) << daemon.Out();
    daemon.Signal(SIGTERM);
    const ProgramResult result = daemon.Wait();
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(
        result.out,
        ContainsRegex("\\[WARN\\] the score is doubtful: " + std::string(LOCAL_DOUBT) +
                      "[0-9.]+% of [0-9]+ pages were allocated on another node than the CPU's, in the "
                      "last [0-9.]+ s; see that the events, or TARNIX_MAP, count what their names "
                      "say\n"));
    EXPECT_EQ(CountOf(result.out, "doubtful"), 1U);
    EXPECT_THAT(result.out,
                ContainsRegex("\\[DEBUG\\] \\[SNAP\\] kernel in [0-9.]+ s: node0 hit [0-9]+ miss 0 local "
                              "[0-9]+ other 0 interleave 0; node1 hit [0-9]+ miss 0 local 0 other [0-9]+ "
                              "interleave 0; node2 hit 0 .*; other node [0-9.]+ %, misses 0\\.00 % of [0-9]+ "
                              "pages; hint faults [0-9]+ local [0-9]+ remote, 0 pages migrated\n"));
}

TEST_F(SecondOpinionTest, TheDaemonSaysOnceWhatIsNotCounted)
{
    fs::remove_all(tree.Sysfs() + "/devices/system/node");
    KernelTree::Put(tree.Procfs() + "/sys/kernel/numa_balancing", "0\n");
    Program daemon = Daemon({"--log-level", "debug"});
    EXPECT_TRUE(Eventually([&daemon] { return CountOf(daemon.Out(), "kernel in ") >= 3; })) << daemon.Out();
    daemon.Signal(SIGTERM);
    const ProgramResult result = daemon.Wait();
    EXPECT_EQ(CountOf(result.out,
                      "[INFO] the kernel's counts of allocated pages are not to be had: cannot "
                      "read " +
                          tree.Sysfs() + "/devices/system/node/online: No such file or directory\n"),
              1U);
    EXPECT_EQ(CountOf(result.out, "[INFO] hint faults are not counted: kernel.numa_balancing is 0\n"), 1U);
    EXPECT_THAT(result.out, HasSubstr(" s: allocated pages not counted; hint faults not counted\n"));
}

}  // namespace
