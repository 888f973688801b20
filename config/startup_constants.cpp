// SPDX-License-Identifier: MIT
//
// Everything of this room that is built when the library is loaded stands in this one file, and nothing of it
// reads another file's globals: the order in which files are linked cannot change a default.

#include "config/conf.h"
#include "config/conf_enums.h"

// Tests compile this file with a path of their own.
#ifndef TARNIX_YAML_PATH
#define TARNIX_YAML_PATH "/etc/tarnix.yaml"
#endif

const std::map<SysLogLevel, std::string> g_logLevelMap = {
    {SysLogLevel::TRACE, "trace"}, {SysLogLevel::DEBUG, "debug"}, {SysLogLevel::INFO, "info"},
    {SysLogLevel::WARN, "warn"},   {SysLogLevel::ERROR, "error"}, {SysLogLevel::FATAL, "fatal"}};

const std::map<TuneMode, std::string> g_tuneModeMap = {
    {TuneMode::BOTH, "b"}, {TuneMode::THREAD, "t"}, {TuneMode::PAGE, "p"}};

const std::map<LoadWay, std::string> g_loadWayMap = {{LoadWay::BALANCED, "b"}, {LoadWay::CENTRALIZED, "c"}};

const std::map<SmtAlg, std::string> g_smtAlgMap = {{SmtAlg::OFF, "off"}, {SmtAlg::PHY_FIRST, "phy-first"}};

const std::map<IrqAlg, std::string> g_irqAlgMap = {{IrqAlg::OFF, "o"}, {IrqAlg::SOFT, "s"}};

const std::map<bool, std::string> g_boolMap = {{true, "true"}, {false, "false"}};

const std::map<ProcAlg, std::string> g_procAlgMap = {
    {ProcAlg::BASE, "base"},
    {ProcAlg::MIGRATE_THREADS_TO_ONE_NODE, "MigrateThreadsToOneNode"},
    {ProcAlg::BALANCE_PROC_NUM, "BalanceProcNum"},
    {ProcAlg::MIGRATE_THREADS_TO_ONE_SOCKET_AUTO, "MigrateThreadsToOneSocketAuto"},
    {ProcAlg::MIGRATE_THREADS_TO_ONE_SOCKET_FIXED, "MigrateThreadsToOneSocketFixed"}};

const std::map<HelpType, std::string> g_helpTypeMap = {
    {HelpType::OFF, "off"}, {HelpType::CMD, "cmd"}, {HelpType::YAML, "yaml"}};

const std::map<Policy, std::string> g_policyMap = {{Policy::BASE, "base"}, {Policy::CGROUP, "cgroup"}};

const std::map<ExportType, std::string> g_tnstatExportTypeMap = {
    {ExportType::REPORT, "report"}, {ExportType::CSV, "csv"}, {ExportType::NODE_EXPORTER, "node_exporter"}};

const std::string TARNIX_YAML = TARNIX_YAML_PATH;

const std::string YAML_WITHOUT_OPT = "yaml without opt";

const ProcConf g_defaultProcConf;

const Conf g_defaultConf;
