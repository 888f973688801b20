// SPDX-License-Identifier: MIT
//
// The reports of OptionInfo: every setting with its value. Whole reports are golden files; here is what a
// single line looks like for values that could be taken for something else.

#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "config/option_info.h"

namespace {

std::string Report(const Conf& conf)
{
    return OptionInfo(ConfigType::TARNIX).GetConfInfo(conf);
}

/// The value of the report's line `key`; the report has each key once.
std::string ValueOf(const Conf& conf, const std::string& key)
{
    const std::string report = "\n" + Report(conf);
    const std::size_t begin = report.find("\n" + key + ": ");
    if (begin == std::string::npos) {
        return "no line " + key;
    }
    const std::size_t from = begin + key.size() + 3;
    return report.substr(from, report.find('\n', from) - from);
}

TEST(ConfReport, KeysInOrderEachOnItsLine)
{
    const std::vector<std::string> keys = {"sampling-interval",
                                           "watchdog-timeout",
                                           "sampling-times",
                                           "spe-period",
                                           "min-numa-score",
                                           "max-numa-score",
                                           "min-rx-ops-per-ms",
                                           "log-level",
                                           "log-file",
                                           "snapshot-interval",
                                           "metrics",
                                           "help-type",
                                           "tune-mode",
                                           "load-way",
                                           "smt",
                                           "page-reserve",
                                           "irq",
                                           "precise-load",
                                           "mem-numa-aggregation",
                                           "mem-balance",
                                           "bind-socket",
                                           "policy",
                                           "cluster-schedule",
                                           "group",
                                           "numa-ratio",
                                           "whitelist",
                                           "blacklist",
                                           "process"};
    const std::vector<std::string> lines = SplitByNewline(Report(g_defaultConf));
    ASSERT_EQ(lines.size(), keys.size());
    for (std::size_t i = 0; i < keys.size(); ++i) {
        EXPECT_EQ(lines[i].substr(0, lines[i].find(": ")), keys[i]);
    }
    EXPECT_EQ(Report(g_defaultConf).back(), '\n');
}

/// Each field alone changes its own line and no other.
template <typename T>
void ExpectLine(T Conf::*field, const T& value, const std::string& key, const std::string& shown)
{
    Conf conf;
    conf.*field = value;
    EXPECT_EQ(ValueOf(conf, key), shown);
    const std::vector<std::string> before = SplitByNewline(Report(g_defaultConf));
    const std::vector<std::string> after = SplitByNewline(Report(conf));
    ASSERT_EQ(after.size(), before.size());
    int changed = 0;
    for (std::size_t i = 0; i < before.size(); ++i) {
        changed += before[i] != after[i] ? 1 : 0;
    }
    EXPECT_EQ(changed, 1) << key;
}

TEST(ConfReport, EveryFieldHasItsLine)
{
    ExpectLine(&Conf::samplingInterval, 4294967295U, "sampling-interval", "4294967295");
    ExpectLine(&Conf::watchdogTimeout, 2U, "watchdog-timeout", "2");
    ExpectLine(&Conf::samplingTimes, 3U, "sampling-times", "3");
    ExpectLine(&Conf::spePeriod, 4U, "spe-period", "4");
    ExpectLine(&Conf::minNumaScore, 5U, "min-numa-score", "5");
    ExpectLine(&Conf::maxNumaScore, 6U, "max-numa-score", "6");
    ExpectLine(&Conf::minRxOpsPerMs, 7U, "min-rx-ops-per-ms", "7");
    ExpectLine(&Conf::logLevel, SysLogLevel::FATAL, "log-level", "fatal");
    ExpectLine(&Conf::logFile, std::string("/var/log/a b"), "log-file", "/var/log/a b");
    ExpectLine(&Conf::snapshotInterval, 0U, "snapshot-interval", "0");
    ExpectLine(&Conf::metrics, false, "metrics", "false");
    ExpectLine(&Conf::help, HelpType::YAML, "help-type", "yaml");
    ExpectLine(&Conf::tuneMode, TuneMode::PAGE, "tune-mode", "p");
    ExpectLine(&Conf::loadWay, LoadWay::CENTRALIZED, "load-way", "c");
    ExpectLine(&Conf::smt, SmtAlg::OFF, "smt", "off");
    ExpectLine(&Conf::pageReserve, 8U, "page-reserve", "8");
    ExpectLine(&Conf::irq, IrqAlg::SOFT, "irq", "s");
    ExpectLine(&Conf::preciseLoad, true, "precise-load", "true");
    ExpectLine(&Conf::memNumaAggregation, true, "mem-numa-aggregation", "true");
    ExpectLine(&Conf::memBalance, true, "mem-balance", "true");
    ExpectLine(&Conf::bindSocket, true, "bind-socket", "true");
    ExpectLine(&Conf::policy, Policy::CGROUP, "policy", "cgroup");
    ExpectLine(&Conf::clusterSchedule, true, "cluster-schedule", "true");
    ExpectLine(&Conf::group, {{"b", "a"}, {}, {"c"}}, "group", "[[a, b], [], [c]]");
    ExpectLine(&Conf::numaRatio, {50, 0, 4294967295U}, "numa-ratio", "[50, 0, 4294967295]");
    ExpectLine(&Conf::whitelist, {"b", "a"}, "whitelist", "[a, b]");
    ExpectLine(&Conf::blacklist, {"d", "c"}, "blacklist", "[c, d]");
}

TEST(ConfReport, TextsCannotBeTakenForOthers)
{
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"redis", "[redis]"},
        {"a_b-c.d/e*f+9", "[a_b-c.d/e*f+9]"},
        {"", "[\"\"]"},
        {" ", "[\" \"]"},
        {"a, b", "[\"a, b\"]"},
        {"a b", "[\"a b\"]"},
        {"[a]", "[\"[a]\"]"},
        {"{name: x}", "[\"{name: x}\"]"},
        {"a\"b", "[\"a\\\"b\"]"},
        {"a\\b", "[\"a\\\\b\"]"},
        {"\\\"", "[\"\\\\\\\"\"]"},
        {"a\nb\tc", "[\"a\\nb\\tc\"]"},
        {std::string("a\0b", 3), "[\"a\\x00b\"]"},
        {"\x1b[2J", "[\"\\x1b[2J\"]"},
        {"gr\xC3\xBC\xC3\x9F", "[\"gr\xC3\xBC\xC3\x9F\"]"},
        {"^java(.*)$", "[\"^java(.*)$\"]"},
    };
    for (const auto& [text, shown] : cases) {
        Conf conf;
        conf.blacklist = {text};
        EXPECT_EQ(ValueOf(conf, "blacklist"), shown);
        conf.group = {{text}};
        EXPECT_EQ(ValueOf(conf, "group"), "[" + shown + "]");
    }
}

TEST(ConfReport, ProcessesAreSortedByNameAndKeepTheirOrderWithinIt)
{
    Conf conf;
    EXPECT_EQ(ValueOf(conf, "process"), "[]");
    ProcConf entry;
    entry.confId = 1;
    conf.process["redis"] = {entry};
    entry.paramsRegex = ".*, algorithm: base";
    entry.netAffinity = "eth0";
    entry.migrateAllMemory = true;
    entry.netAffinityNode = 3;  // derived: not in the report
    entry.defaultMigMemNode = 2;
    entry.algorithm = ProcAlg::MIGRATE_THREADS_TO_ONE_NODE;
    ProcConf second;
    second.confId = 2;
    conf.process["java app"] = {entry, second};
    EXPECT_EQ(ValueOf(conf, "process"),
              "[{name: \"java app\", conf-id: 1, params-regex: \".*, algorithm: base\", algorithm: "
              "MigrateThreadsToOneNode, migrate-all-memory: true, default-mig-mem-node: 2, net-affinity: "
              "eth0}, {name: \"java app\", conf-id: 2, params-regex: \"\", algorithm: base, "
              "migrate-all-memory: false, default-mig-mem-node: -1, net-affinity: \"\"}, {name: redis, "
              "conf-id: 1, params-regex: \"\", algorithm: base, migrate-all-memory: false, "
              "default-mig-mem-node: -1, net-affinity: \"\"}]");
}

template <typename T>
void ExpectNoName(T Conf::*field, int value)
{
    Conf conf;
    conf.*field = static_cast<T>(value);
    EXPECT_THROW(Report(conf), std::out_of_range);
}

TEST(ConfReport, AValueWithoutANameIsAnError)
{
    ExpectNoName(&Conf::logLevel, 6);
    ExpectNoName(&Conf::help, 3);
    ExpectNoName(&Conf::tuneMode, 3);
    ExpectNoName(&Conf::loadWay, 2);
    ExpectNoName(&Conf::smt, 2);
    ExpectNoName(&Conf::irq, 1);
    ExpectNoName(&Conf::policy, 2);
    Conf conf;
    conf.process["p"].resize(1);
    conf.process["p"].front().algorithm = static_cast<ProcAlg>(5);
    EXPECT_THROW(Report(conf), std::out_of_range);
    TnStatConf tnstat;
    tnstat.exportType = static_cast<ExportType>(3);
    EXPECT_THROW(OptionInfo(ConfigType::TNSTAT).GetTnstatConfInfo(tnstat), std::out_of_range);
}

TEST(TnstatReport, AddressAndPortOnlyForTheExporter)
{
    const OptionInfo info(ConfigType::TNSTAT);
    TnStatConf conf;
    conf.ip = "::1";
    conf.port = 65535;
    EXPECT_EQ(info.GetTnstatConfInfo(conf), "export-type: report\n");
    conf.exportType = ExportType::CSV;
    EXPECT_EQ(info.GetTnstatConfInfo(conf), "export-type: csv\n");
    conf.exportType = ExportType::NODE_EXPORTER;
    EXPECT_EQ(info.GetTnstatConfInfo(conf), "export-type: node_exporter\nip: ::1\nport: 65535\n");
}

}  // namespace
