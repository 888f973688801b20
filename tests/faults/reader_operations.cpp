// SPDX-License-Identifier: MIT

// Records, value readers and checks of the configuration.

#include "config/conf.h"
#include "config/structured_readers.h"
#include "config/validation.h"
#include "config/value_readers.h"
#include "tests/faults/machine.h"
#include "tests/faults/operation.h"
#include "tests/support/conf_text.h"

namespace faults {
namespace {

/// A reader's result, what it read, and the document, which lives as long.
template <typename Value>
struct Reading {
    explicit Reading(const std::string& text) : input{ParseStage::YAML, YAML::Load(text), {}} {}
    ParseInput input;
    TnResult result;
    Value value{};
};

template <typename Value>
Operation Reads(std::string name, std::string text, std::function<TnResult(const ParseInput&, Value&)> call,
                std::function<std::string(const Value&)> valueText,
                std::function<bool(const std::string&, const std::string&)> documented = FailedUnchanged)
{
    return {std::move(name), Memory::THROWS,
            [text, call, valueText] {
                auto reading = std::make_shared<Reading<Value>>(text);
                return Trial{
                    [reading, call] { reading->result = call(reading->input, reading->value); },
                    [reading, valueText] { return Text(reading->result) + valueText(reading->value); }};
            },
            std::move(documented)};
}

template <typename Enum>
Operation ReadsEnum(const std::string& type, const std::map<Enum, std::string>& map)
{
    static const std::string KEY = "a-key-that-is-longer-than-fifteen";
    const std::string text = KEY + ": " + map.rbegin()->second + "\n";
    return Reads<Enum>(
        "CommonParseEnum<" + type + ">", text,
        [&map](const ParseInput& input, Enum& out) { return CommonParseEnum(input, KEY, map, out); },
        [](const Enum& value) { return std::to_string(static_cast<int>(value)); });
}

Operations EnumReaders()
{
    return {ReadsEnum<bool>("bool", g_boolMap),   ReadsEnum("SysLogLevel", g_logLevelMap),
            ReadsEnum("TuneMode", g_tuneModeMap), ReadsEnum("HelpType", g_helpTypeMap),
            ReadsEnum("LoadWay", g_loadWayMap),   ReadsEnum("SmtAlg", g_smtAlgMap),
            ReadsEnum("IrqAlg", g_irqAlgMap),     ReadsEnum("Policy", g_policyMap),
            ReadsEnum("ProcAlg", g_procAlgMap),   ReadsEnum("ExportType", g_tnstatExportTypeMap)};
}

Operations ValueReaders()
{
    static const std::string KEY = "a-key-that-is-longer-than-fifteen";
    static const std::string LIST = R"(one-long-process-name\,x,another-long-process-name)";
    return {
        Returning("GetStageLog", Memory::THROWS, [] { return GetStageLog(ParseStage::YAML); }),
        Reads<bool>(
            "CheckYamlNodeExist", KEY + ": 1\n",
            [](const ParseInput& input, bool& out) {
                out = CheckYamlNodeExist(input.node, KEY);
                return TnResult{};
            },
            [](const bool& there) { return std::to_string(there); }),
        Reads<std::string>(
            "CommonGetString", KEY + ": a text that is longer than fifteen\n",
            [](const ParseInput& input, std::string& out) { return CommonGetString(input, KEY, out); },
            [](const std::string& text) { return text; }),
        Reads<std::uint32_t>(
            "CommonParseUint", KEY + ": 4711\n",
            [](const ParseInput& input, std::uint32_t& out) { return CommonParseUint(input, KEY, out); },
            [](const std::uint32_t& number) { return std::to_string(number); }),
        Reads<bool>(
            "CommonParseBool", KEY + ": true\n",
            [](const ParseInput& input, bool& out) { return CommonParseBool(input, KEY, out); },
            [](const bool& value) { return std::to_string(value); }),
        Reads<std::unordered_set<std::string>>(
            "CommonParseRegexesSet", KEY + ": [one-long-process-name, another-long-process-name]\n",
            [](const ParseInput& input, std::unordered_set<std::string>& out) {
                return CommonParseRegexesSet(input, KEY, out);
            },
            support::SetText),
        Returning("ParseRegexesVector", Memory::THROWS, [] { return ParseRegexesVector(LIST); }),
    };
}

Operation ReadsConf(const std::string& name, std::function<TnResult(const ParseInput&, Conf&)> call,
                    std::function<bool(const std::string&, const std::string&)> documented)
{
    return Reads<Conf>(name, ConfigText(), std::move(call), support::SettingsText, std::move(documented));
}

/// "Appended": a second call after a failure in the middle appends again, so the trial begins anew.
TnResult ReadProcess(TnResult (&reader)(const ParseInput&, Conf&), const ParseInput& input, Conf& conf)
{
    conf.process.clear();
    return reader(input, conf);
}

Operations StructuredReaders()
{
    return {
        ReadsConf(
            "ParseCfgProcess",
            [](const ParseInput& input, Conf& conf) { return ReadProcess(ParseCfgProcess, input, conf); },
            AnyState),
        ReadsConf(
            "ParseYamlProcess",
            [](const ParseInput& input, Conf& conf) { return ReadProcess(ParseYamlProcess, input, conf); },
            AnyState),
        ReadsConf("ParseCfgNumaRatio", ParseCfgNumaRatio, AnyState),
        ReadsConf("ParseCfgGroup", ParseCfgGroup, FailedUnchanged),
    };
}

/// A configuration that every check finds fault with, so that each builds its message.
Conf FaultyConf()
{
    Conf conf;
    conf.logFile.clear();
    conf.memBalance = true;
    conf.bindSocket = true;
    conf.clusterSchedule = true;
    ProcConf entry;
    entry.migrateAllMemory = true;
    entry.algorithm = ProcAlg::MIGRATE_THREADS_TO_ONE_SOCKET_AUTO;
    conf.process["a-process-with-a-long-name"].push_back(entry);
    return conf;
}

Operations Checks()
{
    static const Conf CONF = FaultyConf();
    static const std::string NAME = "a-name-that-is-longer-than-fifteen";
    const auto check = [](const char* name, std::function<TnResult()> call) {
        return Returning(name, Memory::THROWS, std::move(call));
    };
    return {
        check("CheckRangeUint", [] { return CheckRangeUint(NAME, 5, 6, 7); }),
        check("CheckNumaRatio",
              [] {
                  return CheckNumaRatio(true, {50, 101});
              }),
        check("CheckNumaScore", [] { return CheckNumaScore(1001, 1000); }),
        check("CheckMemBalance", [] { return CheckMemBalance(CONF); }),
        check("CheckLogFile", [] { return CheckLogFile(CONF); }),
        check("CheckClusterSchedule", [] { return CheckClusterSchedule(CONF); }),
        check("CheckKovariInterval", [] { return CheckKovariInterval(150); }),
        check("CheckBindSocket", [] { return CheckBindSocket(CONF); }),
        check("CheckProcConfValid", [] { return CheckProcConfValid(CONF); }),
        check("Conf::IsValid", [] { return CONF.IsValid(true); }),
        Returning("TnStatConf::IsValid", Memory::NONE, [] { return TnStatConf().IsValid(); }),
    };
}

Operation IntervalVarInit()
{
    return {"Conf::IntervalVarInit", Memory::THROWS,
            [] {
                struct Run {
                    Conf conf;
                    TnResult result;
                };
                auto run = std::make_shared<Run>();
                ProcConf entry;
                entry.netAffinity = "an-interface";
                run->conf.process["a-process-with-a-long-name"].push_back(entry);
                run->conf.process["another-process-with-a-long-name"].push_back(entry);
                return Trial{[run] { run->result = run->conf.IntervalVarInit(); },
                             [run] { return Text(run->result) + support::SettingsText(run->conf); }};
            },
            FailedHalfWay};
}

Operations Lookups()
{
    static const std::string NAME = "a-process-with-a-long-name";
    static const std::string CMDLINE = "redis-server --port=6379 and more of it";
    static const std::unordered_set<std::string> PATTERNS = {"a-process-.*"};
    static Conf conf;
    ProcConf entry;
    entry.confId = 1;
    entry.paramsRegex = ".*--port=6379.*";
    conf.process[NAME] = {entry};
    return {
        // A pattern that memory does not suffice for matches nothing.
        Returning("IsNeedTune", Memory::REPORTS, [] { return IsNeedTune(NAME, PATTERNS, {}); }, {"0"}),
        Returning("Conf::GetProcConf", Memory::THROWS, [] { return conf.GetProcConf(NAME, CMDLINE); },
                  {support::ProcConfText(g_defaultProcConf)}),
        IntervalVarInit(),
    };
}

}  // namespace

Operations ReaderOperations()
{
    Machine::Get();
    Operations all;
    for (const auto part : {EnumReaders, ValueReaders, StructuredReaders, Checks, Lookups}) {
        for (Operation& operation : part()) {
            all.push_back(std::move(operation));
        }
    }
    return all;
}

}  // namespace faults
