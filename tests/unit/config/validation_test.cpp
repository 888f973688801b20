// SPDX-License-Identifier: MIT

#include "config/validation.h"

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

constexpr std::uint32_t MAX_UINT = 4294967295U;

struct Case {
    const char* what;
    std::function<void(Conf&)> change;
    bool kovari;
    const char* message;  ///< empty: valid
};

ProcConf Entry(ProcAlg algorithm, std::uint32_t confId = 1)
{
    ProcConf entry;
    entry.algorithm = algorithm;
    entry.confId = confId;
    return entry;
}

void Check(const std::vector<Case>& cases)
{
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Conf conf = g_defaultConf;
        c.change(conf);
        const TnResult result = conf.IsValid(c.kovari);
        EXPECT_EQ(result.message, c.message);
        EXPECT_EQ(result.code, *c.message == '\0' ? 0 : 1);
    }
}

TEST(Validation, DefaultsAreValidEitherWay)
{
    Check({{"alone", [](Conf&) {}, false, ""}, {"kovari", [](Conf&) {}, true, ""}});
}

TEST(Validation, Ranges)
{
    Check({
        {"interval low", [](Conf& c) { c.samplingInterval = 99; }, false,
         "sampling-interval value out of range, min: 100, max: 100000, current value: 99\n"},
        {"interval min", [](Conf& c) { c.samplingInterval = 100; }, false, ""},
        {"interval max", [](Conf& c) { c.samplingInterval = 100000; }, false, ""},
        {"interval high", [](Conf& c) { c.samplingInterval = 100001; }, false,
         "sampling-interval value out of range, min: 100, max: 100000, current value: 100001\n"},
        {"interval odd alone", [](Conf& c) { c.samplingInterval = 150; }, false, ""},
        {"times 0", [](Conf& c) { c.samplingTimes = 0; }, false,
         "sampling-times value out of range, min: 1, max: 1000, current value: 0\n"},
        {"times 1", [](Conf& c) { c.samplingTimes = 1; }, false, ""},
        {"times 1000", [](Conf& c) { c.samplingTimes = 1000; }, false, ""},
        {"times 1001", [](Conf& c) { c.samplingTimes = 1001; }, true,
         "sampling-times value out of range, min: 1, max: 1000, current value: 1001\n"},
        {"reserve 0", [](Conf& c) { c.pageReserve = 0; }, false, ""},
        {"reserve max", [](Conf& c) { c.pageReserve = MAX_UINT; }, false, ""},
        {"watchdog 0", [](Conf& c) { c.watchdogTimeout = 0; }, false,
         "watchdogTimeout value out of range, min: 1, max: 200, current value: 0\n"},
        {"watchdog 1", [](Conf& c) { c.watchdogTimeout = 1; }, false, ""},
        {"watchdog 200", [](Conf& c) { c.watchdogTimeout = 200; }, false, ""},
        {"watchdog 201", [](Conf& c) { c.watchdogTimeout = 201; }, false,
         "watchdogTimeout value out of range, min: 1, max: 200, current value: 201\n"},
        {"spe 0 alone", [](Conf& c) { c.spePeriod = 0; }, false,
         "spePeriod value out of range, min: 1, max: 4294967295, current value: 0\n"},
        {"spe 0 kovari", [](Conf& c) { c.spePeriod = 0; }, true, ""},
        {"spe max", [](Conf& c) { c.spePeriod = MAX_UINT; }, false, ""},
        {"kovari multiple", [](Conf& c) { c.samplingInterval = 300; }, true, ""},
        {"kovari odd", [](Conf& c) { c.samplingInterval = 150; }, true,
         "error: sampling-interval is not a multiple of 100\n\n"},
    });
}

TEST(Validation, RangeMessageOfAnyName)
{
    EXPECT_EQ(CheckRangeUint("pageReserve", 1, 2, MAX_UINT).message,
              "pageReserve value out of range, min: 2, max: 4294967295, current value: 1");
    EXPECT_EQ(CheckRangeUint("x", 2, 2, 2).code, 0);
}

TEST(Validation, NumaRatioAndScore)
{
    Check({
        {"ratio without precise load", [](Conf& c) { c.numaRatio = {101}; }, false, ""},
        {"ratio 100",
         [](Conf& c) {
             c.preciseLoad = true;
             c.numaRatio = {0, 100};
         },
         false, ""},
        {"ratio none", [](Conf& c) { c.preciseLoad = true; }, false, ""},
        {"first ratio above 100",
         [](Conf& c) {
             c.preciseLoad = true;
             c.numaRatio = {50, 101, 200};
         },
         false, "numa ratio is out of range, max: 100, but value is 101\n"},
        {"min above max",
         [](Conf& c) {
             c.minNumaScore = 1001;
             c.maxNumaScore = 1000;
         },
         false, "min numa score is greater than max numa score\n"},
        {"both above",
         [](Conf& c) {
             c.minNumaScore = 1001;
             c.maxNumaScore = 1001;
         },
         false, "numa score is out of range, max: 1000, current value: min: 1001, max: 1001\n"},
        {"max above", [](Conf& c) { c.maxNumaScore = 1001; }, false,
         "numa score is out of range, max: 1000, current value: min: 955, max: 1001\n"},
        {"equal and at the limit",
         [](Conf& c) {
             c.minNumaScore = 1000;
             c.maxNumaScore = 1000;
         },
         false, ""},
    });
}

TEST(Validation, MemBalance)
{
    const auto with = [](std::function<void(Conf&)> more) {
        return [more](Conf& c) {
            c.memBalance = true;
            more(c);
        };
    };
    Check({
        {"alone", with([](Conf&) {}), false, ""},
        {"centralized", with([](Conf& c) {
             c.loadWay = LoadWay::CENTRALIZED;
             c.memNumaAggregation = true;
         }),
         false, "mem-balance=true and load-way=centralized can not be set at the same time\n"},
        {"aggregation", with([](Conf& c) {
             c.memNumaAggregation = true;
             c.preciseLoad = true;
         }),
         false, "mem-balance=true and mem-numa-aggregation=true can not be set at the same time\n"},
        {"precise", with([](Conf& c) {
             c.preciseLoad = true;
             c.bindSocket = true;
         }),
         false, "mem-balance=true and precise-load=true can not be set at the same time\n"},
        {"bind-socket, in the words of mem-balance", with([](Conf& c) {
             c.bindSocket = true;
             c.smt = SmtAlg::OFF;
         }),
         false, "mem-balance=true and bind-socket=true can not be set at the same time\n"},
        {"net affinity", with([](Conf& c) {
             ProcConf entry;
             entry.netAffinity = "eth0";
             c.process["nginx"] = {ProcConf(), entry};
         }),
         false, "nginx's config: mem-balance=true and net-affinity can not be set at the same time\n"},
        {"net affinity without mem-balance",
         [](Conf& c) { c.process["nginx"].emplace_back().netAffinity = "eth0"; }, false, ""},
    });
}

TEST(Validation, LogFileAndClusterSchedule)
{
    Check({
        {"empty log file", [](Conf& c) { c.logFile.clear(); }, false, "log-file is empty\n"},
        {"any log file", [](Conf& c) { c.logFile = "/var/log/x"; }, false, ""},
        {"cluster with base", [](Conf& c) { c.clusterSchedule = true; }, false,
         "cluster-schedule=true only support policy=cgroup\n"},
        {"cluster with cgroup",
         [](Conf& c) {
             c.clusterSchedule = true;
             c.policy = Policy::CGROUP;
         },
         false, ""},
    });
}

TEST(Validation, BindSocket)
{
    const auto with = [](std::function<void(Conf&)> more) {
        return [more](Conf& c) {
            c.bindSocket = true;
            c.smt = SmtAlg::OFF;
            more(c);
        };
    };
    Check({
        {"without hardware threads", with([](Conf&) {}), false, ""},
        {"centralized", with([](Conf& c) {
             c.loadWay = LoadWay::CENTRALIZED;
             c.smt = SmtAlg::PHY_FIRST;
         }),
         false, "bind-socket=true and load-way=centralized can not be set at the same time\n"},
        {"phy-first", with([](Conf& c) { c.smt = SmtAlg::PHY_FIRST; }), false,
         "bind-socket=true and smt-alg=phy-first can not be set at the same time\n"},
        {"entry of the file in a group", with([](Conf& c) {
             c.process["a"] = {Entry(ProcAlg::BASE, 1)};
             c.group = {{"a"}};
         }),
         false, ""},
        {"entry of no file in a group", with([](Conf& c) {
             c.process["a"] = {Entry(ProcAlg::BASE, 0)};
             c.group = {{"b"}, {"c", "a"}};
         }),
         false, "a's config: alg=MigrateThreadsToOneSocket and group can not be set at the same time\n"},
    });
    Conf conf = g_defaultConf;
    conf.bindSocket = true;
    conf.smt = SmtAlg::OFF;
    conf.memBalance = true;
    EXPECT_EQ(CheckBindSocket(conf).message,
              "bind-socket=true and mem-balance=true can not be set at the same time");
}

TEST(Validation, OneSocketAlgorithms)
{
    for (const ProcAlg algorithm :
         {ProcAlg::MIGRATE_THREADS_TO_ONE_SOCKET_AUTO, ProcAlg::MIGRATE_THREADS_TO_ONE_SOCKET_FIXED}) {
        const auto with = [algorithm](std::function<void(Conf&)> more) {
            return [algorithm, more](Conf& c) {
                c.smt = SmtAlg::OFF;
                c.process["db"] = {Entry(ProcAlg::BASE, 1), Entry(algorithm, 2)};
                more(c);
            };
        };
        Check({
            {"good", with([](Conf&) {}), false, ""},
            {"centralized", with([](Conf& c) {
                 c.loadWay = LoadWay::CENTRALIZED;
                 c.smt = SmtAlg::PHY_FIRST;
             }),
             false,
             "db's config: alg=MigrateThreadsToOneSocket and load-way=centralized can not be set at the same "
             "time\n"},
            {"phy-first", with([](Conf& c) {
                 c.smt = SmtAlg::PHY_FIRST;
                 c.memBalance = true;
             }),
             false,
             "db's config: alg=MigrateThreadsToOneSocket and smt-alg=phy-first can not be set at the same "
             "time\n"},
            {"mem-balance", with([](Conf& c) {
                 c.memBalance = true;
                 c.group = {{"db"}};
             }),
             false,
             "db's config: alg=MigrateThreadsToOneSocket and mem-balance=true can not be set at the same "
             "time\n"},
            {"group", with([](Conf& c) {
                 c.group = {{"web"}, {"db"}};
             }),
             false, "db's config: alg=MigrateThreadsToOneSocket and group can not be set at the same time\n"},
            {"other group", with([](Conf& c) { c.group = {{"web"}}; }), false, ""},
        });
    }
}

TEST(Validation, OtherAlgorithmsAreNotExamined)
{
    for (const ProcAlg algorithm :
         {ProcAlg::BASE, ProcAlg::MIGRATE_THREADS_TO_ONE_NODE, ProcAlg::BALANCE_PROC_NUM}) {
        Conf conf = g_defaultConf;
        conf.loadWay = LoadWay::CENTRALIZED;
        conf.process["db"] = {Entry(algorithm)};
        conf.group = {{"db"}};
        EXPECT_EQ(conf.IsValid(false).code, 0);
    }
}

TEST(Validation, MigrateAllMemory)
{
    const auto with = [](ProcAlg algorithm, int node) {
        return [algorithm, node](Conf& c) {
            ProcConf entry = Entry(algorithm);
            entry.migrateAllMemory = true;
            entry.defaultMigMemNode = node;
            c.process["java"] = {ProcConf(), entry};
        };
    };
    Check({
        {"good", with(ProcAlg::MIGRATE_THREADS_TO_ONE_NODE, -1), false, ""},
        {"other algorithm", with(ProcAlg::BASE, 0), false,
         "java's config: migrate-all-memory=true only support alg MigrateThreadsToOneNode\n"},
        {"node given", with(ProcAlg::MIGRATE_THREADS_TO_ONE_NODE, 0), false,
         "java's config: migrate-all-memory=true and default-migrate-mem-node can not be set at the same "
         "time\n"},
        {"node given without it", [](Conf& c) { c.process["java"].emplace_back().defaultMigMemNode = 1; },
         false, ""},
    });
}

TEST(Validation, TheFirstFailureInTheOrderOfTheChecksIsReported)
{
    Conf conf = g_defaultConf;
    const auto expect = [&conf](const std::string& start) {
        const std::string message = conf.IsValid(false).message;
        EXPECT_EQ(message.compare(0, start.size(), start), 0) << message;
    };
    conf.process["java"].emplace_back().migrateAllMemory = true;
    expect("java's config: migrate-all-memory");
    conf.bindSocket = true;
    expect("bind-socket=true and smt-alg");
    conf.spePeriod = 0;
    expect("spePeriod");
    conf.clusterSchedule = true;
    expect("cluster-schedule=true");
    conf.logFile.clear();
    expect("log-file");
    conf.memBalance = true;
    expect("mem-balance=true and bind-socket");
    conf.maxNumaScore = 5;
    expect("min numa score");
    conf.numaRatio = {101};
    conf.preciseLoad = true;
    expect("numa ratio");
    conf.watchdogTimeout = 0;
    expect("watchdogTimeout");
    conf.samplingTimes = 0;
    expect("sampling-times");
    conf.samplingInterval = 0;
    expect("sampling-interval");
}

TEST(Validation, SeveralBadProcessesReportTheFirstByName)
{
    Conf conf = g_defaultConf;
    for (const char* name : {"zsh", "mid", "abc", "java", "node"}) {
        conf.process[name].emplace_back().migrateAllMemory = true;
    }
    EXPECT_EQ(conf.IsValid(false).message,
              "abc's config: migrate-all-memory=true only support alg MigrateThreadsToOneNode\n");
}

TEST(Validation, TheViewerIsAlwaysValid)
{
    TnStatConf conf;
    conf.port = 0;
    conf.ip = "";
    EXPECT_EQ(conf.IsValid().code, 0);
    EXPECT_EQ(conf.IsValid().message, "");
}

}  // namespace
