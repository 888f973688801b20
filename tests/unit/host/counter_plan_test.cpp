// SPDX-License-Identifier: MIT

#include "host/counter_plan.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/sysfs_tree.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const std::string FIXTURES = std::string(SOURCE_DIR) + "/tests/fixtures/sysfs/";

host::LiveOptions Options(const std::string& fixture, std::vector<host::EventMapping> mappings = {})
{
    host::LiveOptions options;
    options.sysfsRoot = FIXTURES + fixture;
    options.mappings = std::move(mappings);
    return options;
}

std::vector<std::string> Labels(const host::CounterPlan& plan)
{
    std::vector<std::string> labels;
    for (const host::PlannedPmu& pmu : plan.pmus) {
        for (const host::CounterEvent& event : pmu.events) {
            labels.push_back(event.label);
        }
    }
    return labels;
}

TEST(CounterPlan, TakesEveryPmuThatHasTheEvents)
{
    const host::CounterPlan plan = host::PlanCounters(Options("two_sockets"));
    EXPECT_EQ(plan.error, "");
    EXPECT_THAT(plan.remarks, IsEmpty());
    EXPECT_THAT(Labels(plan),
                ElementsAre("die1_hub2/rx_outer/", "die1_hub2/rx_sccl/", "die1_hub2/rx_ops_num/",
                            "die1_hub10/rx_outer/", "die1_hub10/rx_sccl/", "die1_hub10/rx_ops_num/",
                            "die3_hub2/rx_outer/", "die3_hub2/rx_sccl/", "die3_hub2/rx_ops_num/",
                            "die3_hub10/rx_outer/", "die3_hub10/rx_sccl/", "die3_hub10/rx_ops_num/"));
    EXPECT_EQ(plan.CounterCount(), 12U);
    EXPECT_EQ(plan.pmus[0].facts.type, 24U);
    EXPECT_THAT(plan.pmus[2].cpus, ElementsAre(32));
    EXPECT_EQ(plan.pmus[0].events[0].config.words[0], 44U);
    EXPECT_EQ(plan.pmus[0].events[2].config.words[0], 46U);
}

TEST(CounterPlan, OneReaderForEachCpuOfAMask)
{
    const host::CounterPlan plan = host::PlanCounters(Options("wide_mask"));
    ASSERT_THAT(plan.pmus, SizeIs(1));
    EXPECT_THAT(plan.pmus[0].cpus, ElementsAre(0, 2));
    EXPECT_EQ(plan.CounterCount(), 6U);
}

TEST(CounterPlan, SaysWhatIsMissingAndHowToGoOn)
{
    EXPECT_EQ(
        host::PlanCounters(Options("none")).error,
        "no PMU below " + FIXTURES + "none/bus/event_source/devices can count rx_outer, rx_sccl, rx_ops_num");
    EXPECT_EQ(host::PlanCounters(Options("none")).remedy,
              "load the driver of the uncore PMU, or take the counts from other events with --map "
              "rx_outer=PMU/event/, numa-score list shows what there is");
    EXPECT_EQ(host::PlanCounters(Options("two_sockets")).remedy, "");
    EXPECT_EQ(host::PlanCounters(Options("partial")).error,
              "no PMU below " + FIXTURES +
                  "partial/bus/event_source/devices can count rx_outer, rx_sccl, rx_ops_num; PMU half has "
                  "rx_outer, rx_ops_num but lacks rx_sccl; PMU third has rx_sccl but lacks rx_outer, "
                  "rx_ops_num");
    EXPECT_THAT(host::PlanCounters(Options("partial")).pmus, IsEmpty());
}

TEST(CounterPlan, AMappingFillsAGap)
{
    const host::CounterPlan plan = host::PlanCounters(Options("partial", {{"rx_sccl", "third/rx_sccl/"}}));
    EXPECT_EQ(plan.error, "");
    EXPECT_THAT(Labels(plan), ElementsAre("half/rx_outer/", "half/rx_ops_num/", "third/rx_sccl/"));
}

TEST(CounterPlan, EventsOfOnePmuStayTogether)
{
    const host::CounterPlan plan = host::PlanCounters(Options("partial", {{"rx_sccl", "half/event=7/"}}));
    ASSERT_THAT(plan.pmus, SizeIs(1));
    EXPECT_THAT(plan.pmus[0].eventNames, ElementsAre("rx_outer", "rx_sccl", "rx_ops_num"));
    EXPECT_EQ(plan.pmus[0].events[1].config.words[0], 7U);
}

TEST(CounterPlan, MapsAllThreeToRawWords)
{
    const host::CounterPlan plan =
        host::PlanCounters(Options("mapped", {{"rx_ops_num", "software/config=0x0/"},
                                              {"rx_sccl", "software/config=0x2/"},
                                              {"rx_outer", "software/config=0x3/"}}));
    EXPECT_EQ(plan.error, "");
    EXPECT_THAT(Labels(plan), ElementsAre("software/rx_outer/", "software/rx_sccl/", "software/rx_ops_num/"));
    EXPECT_EQ(plan.pmus[0].facts.type, 1U);
    EXPECT_EQ(plan.pmus[0].events[0].config.words[0], 3U);
    EXPECT_THAT(plan.pmus[0].cpus, ElementsAre(0));
    EXPECT_THAT(plan.remarks,
                ElementsAre("PMU software has no cpumask: its counts are those of CPU 0 alone"));
}

TEST(CounterPlan, AMappingMayNameAllInstances)
{
    const host::CounterPlan plan =
        host::PlanCounters(Options("mapped", {{"rx_ops_num", "mesh/remote/"},
                                              {"rx_sccl", "mesh/by_node,node=3/"},
                                              {"rx_outer", "mesh/remote,wide=0/"}}));
    EXPECT_EQ(plan.error, "");
    ASSERT_THAT(plan.pmus, SizeIs(2));
    EXPECT_THAT(plan.pmus[0].cpus, ElementsAre(0));
    EXPECT_THAT(plan.pmus[1].cpus, ElementsAre(2));
    using Words = std::array<std::uint64_t, 3>;
    for (const host::PlannedPmu& pmu : plan.pmus) {
        EXPECT_EQ(pmu.events[0].config.words, (Words{0xa000000bc, 0, 0}));
        EXPECT_EQ(pmu.events[1].config.words, (Words{0x30001, 0, 0}));
        EXPECT_EQ(pmu.events[2].config.words, (Words{0xa000000bc, 1, 0}));
    }
    EXPECT_EQ(plan.pmus[1].events[2].label, "mesh_1/rx_ops_num/");
}

TEST(CounterPlan, EveryCpuOfACorePmuWhenAskedFor)
{
    host::LiveOptions options = Options(
        "mapped",
        {{"rx_ops_num", "core/event=1/"}, {"rx_sccl", "core/event=2/"}, {"rx_outer", "software/config=3/"}});
    host::CounterPlan plan = host::PlanCounters(options);
    EXPECT_EQ(plan.error, "");
    EXPECT_THAT(plan.pmus[0].cpus, ElementsAre(1));
    EXPECT_THAT(plan.pmus[1].cpus, ElementsAre(0));
    options.everyCpu = true;
    plan = host::PlanCounters(options);
    EXPECT_THAT(plan.pmus[0].cpus, ElementsAre(1, 2, 3));
    EXPECT_THAT(plan.pmus[1].cpus, ElementsAre(0, 1, 2, 3));
    EXPECT_THAT(plan.remarks,
                ElementsAre("PMU core has no cpumask: its counts are summed over CPUs 1-3",
                            "PMU software has no cpumask: its counts are summed over CPUs 0-3"));
}

TEST(CounterPlan, SaysWhatIsWrongWithAMapping)
{
    const std::string entries = FIXTURES + "mapped/bus/event_source/devices";
    const struct {
        host::EventMapping mapping;
        std::string error;
    } cases[] = {
        {{"rx_other", "mesh_0/remote/"},
         "'rx_other' is none of the events, expected rx_outer, rx_sccl, rx_ops_num"},
        {{"rx_ops_num", "mesh_0"},
         "event 'mesh_0': no '/' after the PMU, expected PMU/event/ or PMU/term=value,.../"},
        {{"rx_ops_num", "../remote/"},
         "event '../remote/': '..' cannot be the name of a PMU, expected PMU/event/ or PMU/term=value,.../"},
        {{"rx_ops_num", "absent/remote/"}, "no PMU 'absent', there are core, mesh_0, mesh_1, software"},
        {{"rx_ops_num", "mesh_0/absent/"},
         "event 'mesh_0/absent/': the PMU has no event and no term 'absent', its terms are event, far, node, "
         "wide, config, config1, config2"},
        {{"rx_ops_num", "mesh_0/by_node/"},
         "event 'mesh_0/by_node/': term 'node' needs a value, write node=VALUE after the name of the event, "
         "as "
         "in PMU/event,node=VALUE/"},
        {{"rx_ops_num", "mesh_0/remote,node=65536/"},
         "event 'mesh_0/remote,node=65536/': term 'node': the value 0x10000 does not fit into its 16 bits, "
         "the "
         "largest is 0xffff"},
        {{"rx_ops_num", "mesh_0/far=1/"},
         FIXTURES + "mapped/devices/mesh_0/format/far:1: format 'config3:0-7': expected config, config1 or "
                    "config2 and ':'; a format reads like config:0-7,32-35"},
        {{"rx_\n", "a\x1b/b/"}, "'rx_\\n' is none of the events, expected rx_outer, rx_sccl, rx_ops_num"},
    };
    for (const auto& row : cases) {
        const host::CounterPlan plan = host::PlanCounters(Options("mapped", {row.mapping}));
        EXPECT_THAT(plan.pmus, IsEmpty());
        EXPECT_EQ(plan.error.find("--map "), 0U);
        EXPECT_THAT(plan.error, testing::EndsWith(": " + row.error));
        EXPECT_EQ(plan.error.find('\n'), std::string::npos);
        EXPECT_EQ(plan.error.find('\x1b'), std::string::npos);
    }
    EXPECT_EQ(
        host::PlanCounters(Options("mapped", {{"rx_other", "a\nb/"}})).error,
        "--map rx_other=a\\nb/: 'rx_other' is none of the events, expected rx_outer, rx_sccl, rx_ops_num");
}

TEST(CounterPlan, AnEventIsMappedOnce)
{
    EXPECT_EQ(host::PlanCounters(
                  Options("mapped", {{"rx_outer", "mesh_0/remote/"}, {"rx_outer", "mesh_1/remote/"}}))
                  .error,
              "--map rx_outer=mesh_1/remote/: rx_outer is mapped twice, give it once");
}

TEST(CounterPlan, APmuWithABrokenEventIsLeftOutWhenAnotherWorks)
{
    support::SysfsTree tree(FIXTURES + "two_sockets");
    tree.Write("devices/die1_hub2/events/rx_sccl", "event=0x10000\n");
    tree.Write("devices/die3_hub2/cpumask", "\n");
    host::LiveOptions options;
    options.sysfsRoot = tree.Root();
    const host::CounterPlan plan = host::PlanCounters(options);
    EXPECT_EQ(plan.error, "");
    ASSERT_THAT(plan.pmus, SizeIs(2));
    EXPECT_EQ(plan.pmus[0].name, "die1_hub10");
    EXPECT_EQ(plan.pmus[1].name, "die3_hub10");
    EXPECT_THAT(
        plan.remarks,
        ElementsAre(
            "PMU die3_hub2 cannot be used: " + tree.Device("die3_hub2") +
                "/cpumask:1: names no CPU, expected at least one to read the counters from",
            "PMU die1_hub2 cannot be used: event 'die1_hub2/rx_sccl/': term 'event': the value 0x10000 "
            "does not fit into its 16 bits, the largest is 0xffff"));
}

TEST(CounterPlan, OfflineCpusAreLeftOut)
{
    support::SysfsTree tree(FIXTURES + "mapped");
    tree.Write("devices/system/cpu/online", "2\n");
    host::LiveOptions options;
    options.sysfsRoot = tree.Root();
    options.mappings = {
        {"rx_outer", "core/event=1/"}, {"rx_sccl", "core/event=2/"}, {"rx_ops_num", "core/event=3/"}};
    EXPECT_THAT(host::PlanCounters(options).pmus.at(0).cpus, ElementsAre(2));
    tree.Write("devices/system/cpu/online", "0,4\n");
    EXPECT_EQ(host::PlanCounters(options).error,
              "--map rx_outer=core/event=1/: PMU core cannot be used: none of its CPUs is online");
}

TEST(CounterPlan, NoTreeNoPlan)
{
    host::LiveOptions options;
    options.sysfsRoot = "/nowhere";
    EXPECT_EQ(
        host::PlanCounters(options).error,
        "cannot read /nowhere/bus/event_source/devices: No such file or directory; expected the PMUs of "
        "the kernel there, mount sysfs or give another --sysfs-root");
}

TEST(ChooseCpus, TakesAMaskAsItIs)
{
    host::PmuFacts facts;
    facts.scope = host::CpuScope::MASK;
    facts.cpus = {0, 8};
    EXPECT_THAT(host::ChooseCpus(facts, {1, 2}, false), ElementsAre(0, 8));
    facts.scope = host::CpuScope::CPUS;
    EXPECT_THAT(host::ChooseCpus(facts, {1, 8, 9}, true), ElementsAre(8));
    facts.scope = host::CpuScope::NONE;
    EXPECT_THAT(host::ChooseCpus(facts, {1, 2}, false), ElementsAre(1));
}

}  // namespace
