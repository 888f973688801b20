// SPDX-License-Identifier: MIT

#include "tests/boundary/hostile_conf_classes.h"

int g_hijackedConfCalls = 0;

namespace {

/// What every function of the host answers.
template <typename T = TnResult>
T Hijacked()
{
    ++g_hijackedConfCalls;
    return T();
}

}  // namespace

TnResult Conf::IntervalVarInit()
{
    return Hijacked<TnResult>();
}

TnResult Conf::IsValid(bool /*quiet*/) const
{
    return Hijacked<TnResult>();
}

TnResult TnStatConf::IsValid() const
{
    return Hijacked<TnResult>();
}

bool Option::IsAttr(OptAttr /*attr*/) const
{
    return Hijacked<bool>();
}

void Option::SetAttr(const std::vector<OptAttr>& /*list*/)
{
    ++g_hijackedConfCalls;
}

TnResult Option::AttrValid() const
{
    return Hijacked<TnResult>();
}

std::string Option::GetAttrStr() const
{
    return Hijacked<std::string>();
}

std::string Option::FormatHelpInfo() const
{
    return Hijacked<std::string>();
}

std::string Option::FormatYamlInfo() const
{
    return Hijacked<std::string>();
}

OptionInfo::OptionInfo(ConfigType /*type*/)
{
    ++g_hijackedConfCalls;
}

void OptionInfo::InitTarnixOptions()
{
    ++g_hijackedConfCalls;
}

void OptionInfo::InitTnstatOptions()
{
    ++g_hijackedConfCalls;
}

void OptionInfo::InitShortOpt()
{
    ++g_hijackedConfCalls;
}

void OptionInfo::InitLongOpts()
{
    ++g_hijackedConfCalls;
}

std::vector<Option> OptionInfo::GetAllOptions() const
{
    return Hijacked<std::vector<Option>>();
}

std::string OptionInfo::GetShortOpt() const
{
    return Hijacked<std::string>();
}

std::string OptionInfo::GetHelpInfo(bool /*wide*/, HelpType /*type*/) const
{
    return Hijacked<std::string>();
}

std::string OptionInfo::GetConfInfo(const Conf& /*conf*/) const
{
    return Hijacked<std::string>();
}

ConfCtl::ConfCtl(ConfigType /*type*/)
{
    ++g_hijackedConfCalls;
}

TnResult ConfCtl::Init(int /*argc*/, char** /*argv*/, bool /*loud*/, Conf& /*conf*/, TnResult& /*warning*/)
{
    return Hijacked<TnResult>();
}

TnResult ConfCtl::InitOptMap(bool /*loud*/)
{
    return Hijacked<TnResult>();
}

TnResult ConfCtl::ParseCmdline(int /*argc*/, char** /*argv*/, bool /*loud*/, Conf& /*conf*/)
{
    return Hijacked<TnResult>();
}

TnResult ConfCtl::ParseTnstatCmdline(int /*argc*/, char** /*argv*/, TnStatConf& /*conf*/)
{
    return Hijacked<TnResult>();
}

TnResult ConfCtl::GetKovariCmd(const std::string& /*in*/, std::string& /*out*/)
{
    return Hijacked<TnResult>();
}

std::pair<int, char**> ConfCtl::ConvertStringCmd(const std::string& /*cmd*/)
{
    return Hijacked<std::pair<int, char**>>();
}

void ConfCtl::FreeCommandLine(int /*argc*/, char** /*argv*/)
{
    ++g_hijackedConfCalls;
}

void ConfCtl::ResetConfCtl()
{
    ++g_hijackedConfCalls;
}

TnResult ConfCtl::LoadConfig(const std::string& /*path*/)
{
    return Hijacked<TnResult>();
}

TnResult ConfCtl::ParseYaml(const std::string& /*path*/, bool /*loud*/, bool /*again*/, Conf& /*conf*/)
{
    return Hijacked<TnResult>();
}

Option GetPolicyOpt()
{
    return Hijacked<Option>();
}

Option GetLogLevelOpt()
{
    return Hijacked<Option>();
}

std::string GetVersionInfo()
{
    return Hijacked<std::string>();
}

std::vector<std::string> SplitByNewline(const std::string& /*text*/)
{
    return Hijacked<std::vector<std::string>>();
}

TnResult CheckNumaScore(std::uint32_t /*min*/, std::uint32_t /*max*/)
{
    return Hijacked<TnResult>();
}

TnResult CheckLogFile(const Conf& /*conf*/)
{
    return Hijacked<TnResult>();
}
