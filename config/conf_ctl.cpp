// SPDX-License-Identifier: MIT

#include "config/conf_ctl.h"

#include <exception>

#include "config/argument_vector.h"
#include "config/command_line.h"
#include "config/config_file.h"
#include "config/option_map.h"

namespace {

const char* const KOVARI_PROGRAM = "kovari_enable";
const char* const CMD_PREFIX = "cmd:";

TnResult OptMapFailed(const TnResult& reason)
{
    return {1, "InitOptMap failed, because " + reason.message};
}

TnResult FileFailed(const TnResult& reason)
{
    return {reason.code, "yaml config parse failed, will use default value. " + reason.message};
}

TnResult CmdlineFailed(const TnResult& reason, const std::string& help)
{
    return {reason.code, "cmdline parse failed.\n" + reason.message + "\n" + help};
}

TnResult TnstatCmdlineFailed(const TnResult& reason, const std::string& help)
{
    return {reason.code, reason.message + " cmdline parse failed.\n" + help};
}

TnResult CmdlineParsed()
{
    return {0, "parse cmdline success"};
}

TnResult FileParsed(const std::string& path)
{
    return {0, path + " parse success."};
}

TnResult OnlyCmd()
{
    return {1, "only support '-cmd'"};
}

TnResult NoColons()
{
    return {1, "only support '-cmd' and params must not contain ':'"};
}

TnResult CannotBeRead(const std::string& key, const std::string& reason)
{
    return {1, key + " cannot be read: " + reason};
}

/// The attribute of the options that take part.
OptAttr ModeOf(ConfigType type, bool isKovari)
{
    if (type == ConfigType::TNSTAT) {
        return OptAttr::TNSTAT;
    }
    return isKovari ? OptAttr::KOVARI : OptAttr::ALONE;
}

/// What `parse` makes of the input; an exception out of it becomes a failure that names the key.
template <typename Parse, typename Record>
TnResult Apply(const Option& opt, const Parse& parse, const ParseInput& input, Record& conf)
{
    try {
        return parse(input, conf);
    } catch (const std::exception& error) {
        return CannotBeRead(opt.longOpt, error.what());
    }
}

/// What `operation` answers; an exception out of it becomes a failure.
template <typename Operation>
TnResult Guarded(const Operation& operation)
{
    try {
        return operation();
    } catch (const std::exception& error) {
        return {1, error.what()};
    }
}

}  // namespace

ConfCtl::ConfCtl(ConfigType configType) : type(configType), optionInfo(configType) {}

TnResult ConfCtl::Init(int argc, char** argv, bool isKovari, Conf& conf, TnResult& warning)
{
    return Guarded([&]() -> TnResult {
        if (const TnResult result = InitOptMap(isKovari); result.code != 0) {
            return OptMapFailed(result);
        }
        Conf working = g_defaultConf;
        TnResult fileResult = ParseYaml(TARNIX_YAML, isKovari, false, working);
        if (fileResult.code != 0) {
            working = g_defaultConf;
            fileResult = FileFailed(fileResult);
        }
        warning = std::move(fileResult);
        TnResult result = ParseCmdline(argc, argv, isKovari, working);
        if (result.code != 0) {
            return CmdlineFailed(result, optionInfo.GetHelpInfo(isKovari, HelpType::CMD));
        }
        working.confInfo = optionInfo.GetConfInfo(working);
        working.versionInfo = GetVersionInfo();
        working.helpInfo = optionInfo.GetHelpInfo(isKovari, working.help);
        conf = std::move(working);
        return result;
    });
}

TnResult ConfCtl::InitTnstat(int argc, char** argv, TnStatConf& conf)
{
    return Guarded([&]() -> TnResult {
        if (const TnResult result = InitOptMap(false); result.code != 0) {
            return OptMapFailed(result);
        }
        TnStatConf working;
        TnResult result = ParseTnstatCmdline(argc, argv, working);
        const std::string help = optionInfo.GetHelpInfo(false, HelpType::CMD);
        if (result.code != 0) {
            return TnstatCmdlineFailed(result, help);
        }
        working.versionInfo = GetVersionInfo();
        working.confInfo = optionInfo.GetTnstatConfInfo(working);
        working.helpInfo = help;
        conf = std::move(working);
        return result;
    });
}

TnResult ConfCtl::ParseStringCmd(const std::string& cmd, Conf& conf, TnResult& warning)
{
    return Guarded([&]() -> TnResult {
        std::string line;
        if (TnResult result = GetKovariCmd(cmd, line); result.code != 0) {
            return result;
        }
        const auto [argc, argv] = ConvertStringCmd(line);
        TnResult result = Init(argc, argv, true, conf, warning);
        FreeCommandLine(argc, argv);
        return result;
    });
}

TnResult ConfCtl::InitOptMap(bool isKovari)
{
    return Guarded([&]() -> TnResult {
        ResetConfCtl();
        const std::vector<Option> options = optionInfo.GetAllOptions();
        TnResult result = BuildOptionMap(options, ModeOf(type, isKovari), type, optMap);
        for (const Option& opt : options) {
            if (optMap.count(opt.shortOpt) != 0) {
                optOrder.push_back(opt.shortOpt);
            }
        }
        return result;
    });
}

TnResult ConfCtl::ParseCmdline(int argc, char** argv, bool isKovari, Conf& conf)
{
    return Guarded([&]() -> TnResult {
        TnResult result = command_line::Parse(
            argc, argv, optionInfo, optMap, [&](const Option& opt, const std::string& argument) {
                return Apply(opt, opt.parseFunc, {ParseStage::CMDLINE, root, argument}, conf);
            });
        if (result.code != 0) {
            return result;
        }
        if (result = conf.IntervalVarInit(); result.code != 0) {
            return result;
        }
        if (result = conf.IsValid(isKovari); result.code != 0) {
            return result;
        }
        return CmdlineParsed();
    });
}

TnResult ConfCtl::ParseTnstatCmdline(int argc, char** argv, TnStatConf& conf)
{
    return Guarded([&]() -> TnResult {
        TnResult result = command_line::Parse(
            argc, argv, optionInfo, optMap, [&](const Option& opt, const std::string& argument) {
                return Apply(opt, opt.tnstatParseFunc, {ParseStage::CMDLINE, root, argument}, conf);
            });
        if (result.code != 0) {
            return result;
        }
        if (result = conf.IsValid(); result.code != 0) {
            return result;
        }
        return CmdlineParsed();
    });
}

TnResult ConfCtl::GetKovariCmd(const std::string& in, std::string& out)
{
    const std::string prefix = CMD_PREFIX;
    if (in.empty()) {
        out = KOVARI_PROGRAM;
        return {};
    }
    if (in.compare(0, prefix.size(), prefix) != 0) {
        return OnlyCmd();
    }
    if (in.find(':', prefix.size()) != std::string::npos) {
        return NoColons();
    }
    out = KOVARI_PROGRAM + (" " + in.substr(prefix.size()));
    return {};
}

std::pair<int, char**> ConfCtl::ConvertStringCmd(const std::string& cmd)
{
    return argument_vector::Split(cmd);
}

void ConfCtl::FreeCommandLine(int argc, char** argv)
{
    argument_vector::Free(argc, argv);
}

void ConfCtl::ResetConfCtl()
{
    optMap.clear();
    optOrder.clear();
    root.reset();
}

TnResult ConfCtl::LoadConfig(const std::string& path)
{
    return Guarded([&] { return config_file::Load(path, root); });
}

TnResult ConfCtl::ParseYaml(const std::string& path, bool isKovari, bool reload, Conf& conf)
{
    return Guarded([&]() -> TnResult {
        if (TnResult result = LoadConfig(path); result.code != 0) {
            return result;
        }
        // In the order of the registry, so that the same file always reports the same fault first.
        for (const int value : optOrder) {
            const Option& opt = optMap.at(value);
            if (!opt.IsAttr(OptAttr::YAML) || (reload && !opt.IsAttr(OptAttr::RELOAD))) {
                continue;
            }
            if (TnResult result = Apply(opt, opt.parseFunc, {ParseStage::YAML, root, {}}, conf);
                result.code != 0) {
                return result;
            }
        }
        if (TnResult result = conf.IntervalVarInit(); result.code != 0) {
            return result;
        }
        if (TnResult result = conf.IsValid(isKovari); result.code != 0) {
            return result;
        }
        return FileParsed(path);
    });
}
