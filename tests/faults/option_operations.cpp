// SPDX-License-Identifier: MIT

#include <algorithm>

#include "config/option_info.h"
#include "config/options.h"
#include "tests/faults/operation.h"

namespace faults {
namespace {

struct Builder {
    const char* name;
    Option (*build)();
};

const Builder BUILDERS[] = {
    {"GetPolicyOpt", GetPolicyOpt},
    {"GetSamplingIntervalOpt", GetSamplingIntervalOpt},
    {"GetSamplingTimesOpt", GetSamplingTimesOpt},
    {"GetSpePeriodOpt", GetSpePeriodOpt},
    {"GetLogLevelOpt", GetLogLevelOpt},
    {"GetWatchdogTimeoutOpt", GetWatchdogTimeoutOpt},
    {"GetLogFileOpt", GetLogFileOpt},
    {"GetSnapshotIntervalOpt", GetSnapshotIntervalOpt},
    {"GetMetricsOpt", GetMetricsOpt},
    {"GetTuneModeOpt", GetTuneModeOpt},
    {"GetLoadWayOpt", GetLoadWayOpt},
    {"GetBindSocketOpt", GetBindSocketOpt},
    {"GetSmtOpt", GetSmtOpt},
    {"GetIrqOpt", GetIrqOpt},
    {"GetHelpOpt", GetHelpOpt},
    {"GetClusterScheduleOpt", GetClusterScheduleOpt},
    {"GetVersionOpt", GetVersionOpt},
    {"GetWhitelistOpt", GetWhitelistOpt},
    {"GetBlacklistOpt", GetBlacklistOpt},
    {"GetGroupOpt", GetGroupOpt},
    {"GetMinNumaScoreOpt", GetMinNumaScoreOpt},
    {"GetMaxNumaScoreOpt", GetMaxNumaScoreOpt},
    {"GetMinRxOpsPerMsOpt", GetMinRxOpsPerMsOpt},
    {"GetNumaRatioOpt", GetNumaRatioOpt},
    {"GetPageReserveOpt", GetPageReserveOpt},
    {"GetPreciseLoadOpt", GetPreciseLoadOpt},
    {"GetMemNumaAggregationOpt", GetMemNumaAggregationOpt},
    {"GetMemBalanceOpt", GetMemBalanceOpt},
    {"GetReloadOpt", GetReloadOpt},
    {"GetProcessOpt", GetProcessOpt},
    {"GetTnstatExportOpt", GetTnstatExportOpt},
    {"GetTnstatHelpOpt", GetTnstatHelpOpt},
    {"GetTnstatRepeatOpt", GetTnstatRepeatOpt},
    {"GetTnstatIpOpt", GetTnstatIpOpt},
    {"GetTnstatPortOpt", GetTnstatPortOpt},
};

/// A call that builds a part of a registry anew. It may leave that part half built.
Operation Rebuilds(const std::string& name, ConfigType type, void (OptionInfo::*call)())
{
    return {"OptionInfo::" + name, Memory::THROWS,
            [type, call] {
                auto info = std::make_shared<OptionInfo>(type);
                return Trial{[info, call] { ((*info).*call)(); },
                             // Not the text: the pointers among it may be of options that are gone.
                             [info] { return std::to_string(info->GetAllOptions().size()); }};
            },
            AnyState};
}

Operations RegistryOperations()
{
    static const OptionInfo TARNIX(ConfigType::TARNIX);
    static const OptionInfo TNSTAT(ConfigType::TNSTAT);
    return {
        Returning("OptionInfo::OptionInfo", Memory::THROWS,
                  [] {
                      auto info = std::make_unique<OptionInfo>(ConfigType::TARNIX);
                      return info->GetHelpInfo(true, HelpType::CMD) +
                             info->GetHelpInfo(false, HelpType::YAML);
                  }),
        Rebuilds("InitTarnixOptions", ConfigType::TARNIX, &OptionInfo::InitTarnixOptions),
        Rebuilds("InitTnstatOptions", ConfigType::TNSTAT, &OptionInfo::InitTnstatOptions),
        Rebuilds("InitShortOpt", ConfigType::TARNIX, &OptionInfo::InitShortOpt),
        Rebuilds("InitLongOpts", ConfigType::TARNIX, &OptionInfo::InitLongOpts),
        Returning("OptionInfo::InitHelpInfo", Memory::THROWS,
                  [] { return TARNIX.InitHelpInfo(false, HelpType::CMD); }),
        Returning("OptionInfo::InitTnstatHelpInfo", Memory::THROWS,
                  [] { return TNSTAT.InitTnstatHelpInfo(); }),
        Returning("OptionInfo::GetAllOptions", Memory::THROWS,
                  [] { return static_cast<int>(TARNIX.GetAllOptions().size()); }),
        Returning("OptionInfo::GetLongOptArray", Memory::THROWS,
                  [] { return static_cast<int>(TARNIX.GetLongOptArray().size()); }),
        Returning("OptionInfo::GetShortOpt", Memory::THROWS, [] { return TARNIX.GetShortOpt(); }),
        Returning("OptionInfo::GetHelpInfo", Memory::THROWS,
                  [] { return TARNIX.GetHelpInfo(false, HelpType::YAML); }),
        Returning("OptionInfo::GetConfInfo", Memory::THROWS,
                  [] { return TARNIX.GetConfInfo(g_defaultConf); }),
        Returning("OptionInfo::GetTnstatConfInfo", Memory::THROWS,
                  [] { return TNSTAT.GetTnstatConfInfo(TnStatConf()); }),
        Returning("GetVersionInfo", Memory::THROWS, [] { return GetVersionInfo(); }),
    };
}

Operations OneOption()
{
    static const Option OPTION = GetTuneModeOpt();
    static const std::string TEXT = "a first line that is longer than any\nand a second line as long as that";
    static const std::vector<OptAttr> ATTRIBUTES = {OptAttr::CMD, OptAttr::ALONE};
    static Option changed = GetTuneModeOpt();
    return {
        Returning("Option::Option", Memory::THROWS, [] { return Option(TEXT, 'x', TEXT, TEXT); }),
        Returning("Option::SetAttr", Memory::NONE,
                  [] {
                      changed.SetAttr(ATTRIBUTES);
                      return changed.attrs;
                  }),
        Returning("Option::IsAttr", Memory::NONE, [] { return OPTION.IsAttr(OptAttr::CMD); }),
        Returning("Option::AttrValid", Memory::THROWS,
                  [] { return Option(TEXT, 'x', TEXT, TEXT).AttrValid(); }),
        Returning("Option::GetAttrStr", Memory::NONE, [] { return OPTION.GetAttrStr(); }),
        Returning("Option::FormatHelpInfo", Memory::THROWS, [] { return OPTION.FormatHelpInfo(); }),
        Returning("Option::FormatYamlInfo", Memory::THROWS, [] { return OPTION.FormatYamlInfo(); }),
        Returning("SplitByNewline", Memory::THROWS, [] { return SplitByNewline(TEXT); }),
    };
}

}  // namespace

Operations OptionOperations()
{
    Operations all;
    for (const Builder& builder : BUILDERS) {
        all.push_back(Returning(builder.name, Memory::THROWS, builder.build));
    }
    for (const auto part : {OneOption, RegistryOperations}) {
        for (Operation& operation : part()) {
            all.push_back(std::move(operation));
        }
    }
    return all;
}

}  // namespace faults
