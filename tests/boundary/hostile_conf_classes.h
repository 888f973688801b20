// SPDX-License-Identifier: MIT
//
// A host's own configuration: classes and functions that bear the names of the plug-in's, of another layout
// and with another behaviour. The program exports all of them. Each counts its calls in g_hijackedConfCalls.

#ifndef TESTS_BOUNDARY_HOSTILE_CONF_CLASSES_H
#define TESTS_BOUNDARY_HOSTILE_CONF_CLASSES_H

#include <cstdint>

#include <string>
#include <utility>
#include <vector>

extern int g_hijackedConfCalls;

struct TnResult {
    std::string message;
    bool good = false;
};

struct Conf {
    TnResult IntervalVarInit();
    TnResult IsValid(bool quiet) const;
    char name[8] = "host";
};

struct TnStatConf {
    TnResult IsValid() const;
};

enum class ConfigType : std::int32_t { OLD, NEW };
enum class HelpType : std::int32_t { NONE };
enum class OptAttr : std::int32_t { ANY };

class Option {
public:
    bool IsAttr(OptAttr attr) const;
    void SetAttr(const std::vector<OptAttr>& list);
    TnResult AttrValid() const;
    std::string GetAttrStr() const;
    std::string FormatHelpInfo() const;
    std::string FormatYamlInfo() const;
    int value = 0;
};

class OptionInfo {
public:
    explicit OptionInfo(ConfigType type);
    void InitTarnixOptions();
    void InitTnstatOptions();
    void InitShortOpt();
    void InitLongOpts();
    std::vector<Option> GetAllOptions() const;
    std::string GetShortOpt() const;
    std::string GetHelpInfo(bool wide, HelpType type) const;
    std::string GetConfInfo(const Conf& conf) const;
    int value = 0;
};

class ConfCtl {
public:
    explicit ConfCtl(ConfigType type);
    TnResult Init(int argc, char** argv, bool loud, Conf& conf, TnResult& warning);
    TnResult InitOptMap(bool loud);
    TnResult ParseCmdline(int argc, char** argv, bool loud, Conf& conf);
    TnResult ParseTnstatCmdline(int argc, char** argv, TnStatConf& conf);
    TnResult GetKovariCmd(const std::string& in, std::string& out);
    std::pair<int, char**> ConvertStringCmd(const std::string& cmd);
    void FreeCommandLine(int argc, char** argv);
    void ResetConfCtl();
    TnResult LoadConfig(const std::string& path);
    TnResult ParseYaml(const std::string& path, bool loud, bool again, Conf& conf);
    int value = 0;
};

Option GetPolicyOpt();
Option GetLogLevelOpt();
std::string GetVersionInfo();
std::vector<std::string> SplitByNewline(const std::string& text);
TnResult CheckNumaScore(std::uint32_t min, std::uint32_t max);
TnResult CheckLogFile(const Conf& conf);

#endif  // TESTS_BOUNDARY_HOSTILE_CONF_CLASSES_H
