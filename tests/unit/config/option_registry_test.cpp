// SPDX-License-Identifier: MIT
//
// The table of all options, written out by hand: what the builders and the registry make is compared with it.

#include "config/options.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "config/option_info.h"
#include "tests/support/tn_result_text.h"

namespace {

using support::Told;

struct Row {
    Option (*build)();
    const char* name;
    const char* longOpt;
    int number;  ///< what getopt returns for it, in its registry
    const char* placeholder;
    std::vector<int> bits;
    const char* help;
    const char* yamlHelp;
};

const std::vector<Row>& ToolRows()
{
    static const std::vector<Row> rows = {
        {GetPolicyOpt,
         "PolicyOpt",
         "policy",
         'p',
         "",
         {0, 1, 2, 3, 5, 7},
         "algorithm policy. Support two policies(base, cgroup), default is base.\n",
         "<base|cgroup> # algorithm policy. Support two policies(base, cgroup), default is base.\n"},
        {GetSamplingIntervalOpt,
         "IntervalOpt",
         "sampling-interval",
         'i',
         "<n>",
         {0, 1, 2, 3, 5, 7, 8},
         "every sampling interval n msec, range is [100, 100000], default is 100\n",
         "<n> # every sampling interval n msec, range is [100, 100000], default is 100\n"},
        {GetSamplingTimesOpt,
         "SamplingTimesOpt",
         "sampling-times",
         't',
         "<n>",
         {0, 1, 2, 3, 5, 7, 8},
         "every optimizing have n times sampling, range is [1, 1000] default is 10\n",
         "<n> # every optimizing have n times sampling, range is [1, 1000] default is 10\n"},
        {GetSpePeriodOpt,
         "SpePeriodOpt",
         "spe-period",
         's',
         "<n>",
         {0, 1, 2, 3, 5, 7},
         "spe period for sampling, range is [1, 4294967295], default is 2048\n",
         "<n> # spe period for sampling, range is [1, 4294967295], default is 2048\n"},
        {GetLogLevelOpt,
         "LogLevelOpt",
         "log-level",
         'l',
         "<level>",
         {0, 1, 2, 3, 5, 6, 7},
         "log level, level can be [trace, debug, info, warn, error, fatal], default is info\n",
         "<level> # log level, level can be [trace, debug, info, warn, error, fatal], default is info\n"},
        {GetWatchdogTimeoutOpt,
         "WatchdogTimeoutOpt",
         "watchdog-timeout",
         1000,
         "<n>",
         {5, 7},
         "",
         "<n> watchdog timeout(seconds), range is [1, 200] default is 10\n"},
        {GetLogFileOpt,
         "LogFileOpt",
         "log-file",
         1001,
         "<file>",
         {0, 2, 3, 7},
         "log file, suggest use /var/log/tarnix/tarnix.log or stdout, default is stdout\n",
         "<file> # log file, suggest use /var/log/tarnix/tarnix.log or stdout, default is stdout\n"},
        {GetSnapshotIntervalOpt,
         "SnapshotIntervalOpt",
         "snapshot-interval",
         1002,
         "<n>",
         {0, 2, 3, 5, 7, 8},
         "every n tune period will record a snapshot, range is [0, 86400], default is 60, 0 means disable\n",
         "<n> # every n tune period will record a snapshot, range is [0, 86400], default is 60, 0 means "
         "disable\n"},
        {GetMetricsOpt,
         "MetricsOpt",
         "metrics",
         1003,
         "<true|false>",
         {0, 2, 5, 7, 8},
         "enable metrics and you can use tnstat to export metrics, default is true\n",
         "<true|false> # enable metrics and you can use tnstat to export metrics, default is true\n"},
        {GetTuneModeOpt,
         "TuneModeOpt",
         "tune-mode",
         'm',
         "<mode>",
         {0, 1, 2, 3, 5, 7, 8},
         "tune mode, mode can be [b, t, p], default is b\nb: migrate page and thread\n"
         "t: migrate thread only\np: migrate page only\n",
         "<mode> # tune mode, mode can be [b, t, p], default is b\nb: migrate page and thread\n"
         "t: migrate thread only\np: migrate page only\n"},
        {GetLoadWayOpt,
         "LoadAlgOpt",
         "load-way",
         'w',
         "<alg>",
         {0, 1, 2, 3, 5, 7, 8},
         "load way, can be [b, c], default is b\nb: balance the load of threads on all numa nodes\n"
         "c: centralize processes to fewer numas based on load \n",
         "<alg> # load way, can be [b, c], default is b\nb: balance the load of threads on all numa nodes\n"
         "c: centralize processes to fewer numas based on load \n"},
        {GetBindSocketOpt,
         "SocketOpt",
         "bind-socket",
         1004,
         "",
         {5, 7, 8},
         "bind-socket mode, can be [true, false], default is false\n",
         "<true|false> # bind-socket mode, can be [true, false], default is false\n"},
        {GetSmtOpt,
         "SmtAlgOpt",
         "smt",
         1005,
         "<alg>",
         {0, 2, 3, 5, 7, 8},
         "smt mode, can be [off, phy-first], default is phy-first\noff: disable smt\n"
         "phy-first: migrate threads to physical cores first, may limit load\n",
         "<alg> # smt mode, can be [off, phy-first], default is phy-first\noff: disable smt\n"
         "phy-first: migrate threads to physical cores first, may limit load\n"},
        {GetIrqOpt,
         "IrqTuneOpt",
         "irq",
         1006,
         "<mode>",
         {0, 2, 3, 5, 7},
         "irq mode, can be [o, s], default is o\no: disable irq tune\ns: soft irq tune for network\n",
         "<mode> # irq mode, can be [o, s], default is o\no: disable irq tune\n"
         "s: soft irq tune for network\n"},
        {GetHelpOpt,
         "ShowHelpOpt",
         "help",
         'h',
         "<type>",
         {0, 1, 2, 3, 7, 8},
         "show help info, type can be [cmd, yaml], default is cmd\n",
         ""},
        {GetClusterScheduleOpt,
         "ClusterScheduleOpt",
         "cluster-schedule",
         1007,
         "",
         {0, 2, 5, 7},
         "enable cluster schedule, default is false. Only support policy=cgroup\n",
         "<true|false> # enable cluster schedule, default is false. Only support policy=cgroup\n"},
        {GetVersionOpt, "ShowVersionOpt", "version", 'v', "", {0, 1, 2, 7, 8}, "show version info\n", ""},
        {GetWhitelistOpt,
         "WhitelistOpt",
         "whitelist",
         'W',
         "<process name list>",
         {0, 1, 2, 3, 5, 7, 8},
         "only migrate process in the list, regexp list split by comma, if not set, migrate all process.\n",
         "[] # only migrate process in the list, regexp list split by comma, if not set, migrate all "
         "process.\n"},
        {GetBlacklistOpt,
         "BlacklistOpt",
         "blacklist",
         'b',
         "<process name list>",
         {0, 1, 2, 3, 5, 7, 8},
         "do not migrate process in the list, regexp list split by comma, priority higher than whitelist.\n",
         "[] # do not migrate process in the list, regexp list split by comma, priority higher than "
         "whitelist.\n"},
        {GetGroupOpt,
         "GroupOpt",
         "group",
         1008,
         "",
         {5, 7, 8},
         "",
         "# process affinity group\n- [process1, process2, ...]\n"},
        {GetMinNumaScoreOpt,
         "MinNumaScoreOpt",
         "min-numa-score",
         1009,
         "<n>",
         {5, 7, 8},
         "",
         "<n> # min numa score, range is [0 ,1000], default is 955\n"},
        {GetMaxNumaScoreOpt,
         "MaxNumaScoreOpt",
         "max-numa-score",
         1010,
         "<n>",
         {5, 7, 8},
         "",
         "<n> # max numa score, range is [0, 1000], default is 975\n"},
        {GetMinRxOpsPerMsOpt,
         "MinRxOpsPerMsOpt",
         "min-rx-ops-per-ms",
         1011,
         "<n>",
         {5, 7, 8},
         "",
         "<n> # min rx ops per ms, default is 10000\n"},
        {GetNumaRatioOpt,
         "NumaRatioOpt",
         "numa-ratio",
         1012,
         "",
         {5, 7, 8},
         "",
         "[] # process initial load distribution for each node\n"},
        {GetPageReserveOpt,
         "PageReserveOpt",
         "page-reserve",
         1013,
         "<n>",
         {5, 7, 8},
         "page reserve, range is [0, 4294967295], default is 100000\n",
         "<n> # page reserve, range is [0, 4294967295], default is 100000\n"},
        {GetPreciseLoadOpt,
         "PreciseLoadOpt",
         "precise-load",
         1014,
         "",
         {0, 2, 5, 7, 8},
         "load control precisely\n",
         "<true|false> # load control precisely\n"},
        {GetMemNumaAggregationOpt,
         "MemMigAggregationOpt",
         "mem-numa-aggregation",
         1015,
         "",
         {0, 2, 5, 7, 8},
         "process memory aggregate by numa\n",
         "<true|false> # process memory aggregate by numa\n"},
        {GetMemBalanceOpt,
         "MemBalanceOpt",
         "mem-balance",
         1016,
         "",
         {0, 2, 5, 7, 8},
         "process memory average by numa\n",
         "<true|false> # process memory average by numa\n"},
        {GetReloadOpt,
         "ReloadOpt",
         "reload",
         1017,
         "",
         {0, 2, 7},
         "reload yaml config, only support log-level\n",
         ""},
        {GetProcessOpt,
         "ProcOpt",
         "process",
         1018,
         "",
         {5, 7, 8},
         "",
         "# process config\n"
         "- name: process1 # process name, /proc/pid/comm\n"
         "  params-regex: \"\" # process params regex, /proc/pid/cmdline\n"
         "  algorithm: \"\" # process algorithm, support [MigrateThreadsToOneNode, BalanceProcNum, "
         "MigrateThreadsToOneSocketAuto, MigrateThreadsToOneSocketFixed]\n"
         "  migrate-all-memory: \"\" # migrate all memory, support [true, false]\n"
         "  default-mig-mem-node: \"\" # default migrate memory node, support [0, numa_node_num - 1]\n"
         "  net-affinity: \"\" # process net affinity, set net interface name \n"},
    };
    return rows;
}

const std::vector<Row>& ViewerRows()
{
    static const std::vector<Row> rows = {
        {GetTnstatExportOpt,
         "TnstatExportTypeOpt",
         "export",
         'e',
         "<type>",
         {0, 1, 2, 3, 9},
         "tnstat export type, support [report, csv, node_exporter]\n",
         ""},
        {GetTnstatHelpOpt, "TnstatHelpOpt", "help", 'h', "", {0, 1, 2, 9}, "show tnstat help info\n", ""},
        {GetTnstatRepeatOpt,
         "TnstatRepeatOpt",
         "repeat",
         1000,
         "",
         {0, 2, 9},
         "tnstat repeat and exit\n",
         ""},
        {GetTnstatIpOpt,
         "TnstatIpOpt",
         "ip",
         1001,
         "<ip_address>",
         {0, 2, 3, 9},
         "Prometheus exporter IP address, supports IPv4 (default: 0.0.0.0)\n",
         ""},
        {GetTnstatPortOpt,
         "TnstatPortOpt",
         "port",
         1002,
         "<port>",
         {0, 2, 3, 9},
         "Prometheus exporter port (default: 9101, range: 1-65535)\n",
         ""},
    };
    return rows;
}

std::uint64_t MaskOf(const std::vector<int>& bits)
{
    std::uint64_t mask = 0;
    for (const int bit : bits) {
        mask |= std::uint64_t{1} << static_cast<unsigned>(bit);
    }
    return mask;
}

void ExpectRow(const Option& opt, const Row& row, int number, bool isViewers)
{
    SCOPED_TRACE(row.name);
    EXPECT_EQ(opt.name, row.name);
    EXPECT_EQ(opt.longOpt, row.longOpt);
    EXPECT_EQ(opt.shortOpt, number);
    EXPECT_EQ(opt.placeholder, row.placeholder);
    EXPECT_EQ(opt.attrs, MaskOf(row.bits));
    EXPECT_EQ(opt.help, row.help);
    EXPECT_EQ(opt.yamlHelp, row.yamlHelp);
    EXPECT_EQ(static_cast<bool>(opt.parseFunc), !isViewers);
    EXPECT_EQ(static_cast<bool>(opt.tnstatParseFunc), isViewers);
    EXPECT_EQ(Told(opt.AttrValid()), "0: ");
}

void ExpectTable(ConfigType type, const std::vector<Row>& rows, std::size_t count)
{
    const bool isViewers = type == ConfigType::TNSTAT;
    const std::vector<Option> registered = OptionInfo(type).GetAllOptions();
    ASSERT_EQ(rows.size(), count);
    ASSERT_EQ(registered.size(), count);
    for (std::size_t i = 0; i < count; ++i) {
        ExpectRow(registered[i], rows[i], rows[i].number, isViewers);
        // A builder does not know its place: without a letter it hands out 1000.
        ExpectRow(rows[i].build(), rows[i], rows[i].number < 1000 ? rows[i].number : 1000, isViewers);
    }
}

TEST(OptionTable, Tool)
{
    ExpectTable(ConfigType::TARNIX, ToolRows(), 30);
}

TEST(OptionTable, Viewer)
{
    ExpectTable(ConfigType::TNSTAT, ViewerRows(), 5);
}

TEST(OptionTable, AttributeTexts)
{
    for (const Row& row : ToolRows()) {
        const std::uint64_t mask = MaskOf(row.bits);
        const std::string letters = std::string((mask & 0x01U) != 0 ? "c" : "") +
                                    ((mask & 0x20U) != 0 ? "y" : "") + ((mask & 0x40U) != 0 ? "r" : "");
        EXPECT_EQ(row.build().GetAttrStr(), "attr:" + letters) << row.name;
    }
    EXPECT_EQ(GetLogLevelOpt().GetAttrStr(), "attr:cyr");
    EXPECT_EQ(GetGroupOpt().GetAttrStr(), "attr:y");
    EXPECT_EQ(GetReloadOpt().GetAttrStr(), "attr:c");
    for (const Row& row : ViewerRows()) {
        EXPECT_EQ(row.build().GetAttrStr(), "") << row.name;
    }
}

}  // namespace
