// SPDX-License-Identifier: MIT

#include "config/option_info.h"

#include "config/build_info.h"
#include "config/getopt_tables.h"
#include "config/options.h"

namespace {

std::string EditTheFile()
{
    return "vim " + TARNIX_YAML + " and set options\n";
}

std::string HowToRun()
{
    return std::string("how to run tarnix:\n") + " by kovari (recommend): refer to " +
           build_info::DOCUMENTATION + " \n" + " by systemd (recommend)\n" +
           " by cmdline (not recommend, test only)\n";
}

}  // namespace

OptionInfo::OptionInfo(ConfigType type)
{
    if (type == ConfigType::TNSTAT) {
        InitTnstatOptions();
    } else {
        InitTarnixOptions();
    }
    InitShortOpt();
    InitLongOpts();
    for (const bool underKovari : {false, true}) {
        cmdHelp[underKovari] =
            type == ConfigType::TNSTAT ? InitTnstatHelpInfo() : InitHelpInfo(underKovari, HelpType::CMD);
        yamlHelp[underKovari] =
            type == ConfigType::TNSTAT ? std::string() : InitHelpInfo(underKovari, HelpType::YAML);
    }
}

void OptionInfo::InitTarnixOptions()
{
    options = {GetPolicyOpt(),
               GetSamplingIntervalOpt(),
               GetSamplingTimesOpt(),
               GetSpePeriodOpt(),
               GetLogLevelOpt(),
               GetWatchdogTimeoutOpt(),
               GetLogFileOpt(),
               GetSnapshotIntervalOpt(),
               GetMetricsOpt(),
               GetTuneModeOpt(),
               GetLoadWayOpt(),
               GetBindSocketOpt(),
               GetSmtOpt(),
               GetIrqOpt(),
               GetHelpOpt(),
               GetClusterScheduleOpt(),
               GetVersionOpt(),
               GetWhitelistOpt(),
               GetBlacklistOpt(),
               GetGroupOpt(),
               GetMinNumaScoreOpt(),
               GetMaxNumaScoreOpt(),
               GetMinRxOpsPerMsOpt(),
               GetNumaRatioOpt(),
               GetPageReserveOpt(),
               GetPreciseLoadOpt(),
               GetMemNumaAggregationOpt(),
               GetMemBalanceOpt(),
               GetReloadOpt(),
               GetProcessOpt()};
}

void OptionInfo::InitTnstatOptions()
{
    options = {GetTnstatExportOpt(), GetTnstatHelpOpt(), GetTnstatRepeatOpt(), GetTnstatIpOpt(),
               GetTnstatPortOpt()};
}

void OptionInfo::InitShortOpt()
{
    getopt_tables::NumberOptions(options);
    shortOpt = getopt_tables::ShortOptions(options);
}

void OptionInfo::InitLongOpts()
{
    longOpts = getopt_tables::LongOptions(options);
}

std::string OptionInfo::InitHelpInfo(bool underKovari, HelpType type) const
{
    if (type != HelpType::CMD && type != HelpType::YAML) {
        return {};
    }
    const OptAttr mode = underKovari ? OptAttr::KOVARI : OptAttr::ALONE;
    if (type == HelpType::YAML) {
        std::string text = "Usage: " + EditTheFile();
        for (const Option& opt : options) {
            text += opt.IsAttr(mode) && opt.IsAttr(OptAttr::YAML) ? opt.FormatYamlInfo() : std::string();
        }
        return text;
    }
    std::string text = underKovari ? "Usage: kovari -e tune_numa_mem_access -cmd \"[options][<param>]\"\n"
                                   : "Usage: tarnix [options][<param>]\n";
    text += "   or " + EditTheFile();
    text +=
        " attr:c => support conf by cmdline, y => support conf by yaml, r => support reload yaml online\n";
    text += "Options:\n";
    for (const Option& opt : options) {
        text += opt.IsAttr(mode) && opt.IsAttr(OptAttr::CMD) ? opt.FormatHelpInfo() : std::string();
    }
    text += " other options refer to " + TARNIX_YAML + "\n";
    return underKovari ? text : text + HowToRun();
}

std::string OptionInfo::InitTnstatHelpInfo() const
{
    std::string text = "Usage: tnstat [options][<param>]\nOptions:\n";
    for (const Option& opt : options) {
        text += opt.IsAttr(OptAttr::TNSTAT) ? opt.FormatHelpInfo() : std::string();
    }
    return text;
}

std::vector<Option> OptionInfo::GetAllOptions() const
{
    return options;
}

std::vector<option> OptionInfo::GetLongOptArray() const
{
    return longOpts;
}

std::string OptionInfo::GetShortOpt() const
{
    return shortOpt;
}

std::string OptionInfo::GetHelpInfo(bool underKovari, HelpType type) const
{
    switch (type) {
        case HelpType::CMD:
            return cmdHelp.at(underKovari);
        case HelpType::YAML:
            return yamlHelp.at(underKovari);
        case HelpType::OFF:
            break;
    }
    return {};
}

std::string GetVersionInfo()
{
    return std::string("tarnix version: ") + build_info::VERSION + "\ngit info: " + build_info::REVISION;
}
