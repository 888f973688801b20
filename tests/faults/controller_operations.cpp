// SPDX-License-Identifier: MIT

#include "config/conf_ctl.h"
#include "tests/faults/machine.h"
#include "tests/faults/operation.h"
#include "tests/support/conf_text.h"

namespace faults {
namespace {

/// A controller, its command line and what it fills.
struct Run {
    explicit Run(ConfigType type) : ctl(type) {}

    std::string State() const
    {
        return Text(result) + "warning " + Text(warning) + support::SettingsText(conf) + "\n" +
               conf.confInfo + conf.helpInfo + conf.versionInfo + viewer.confInfo + viewer.helpInfo +
               viewer.versionInfo + std::to_string(viewer.port) + line;
    }

    ConfCtl ctl;
    Conf conf;
    TnStatConf viewer;
    TnResult result;
    TnResult warning;
    std::string line;
};

char** Words(bool viewer)
{
    static char program[] = "program";
    static char option1[] = "--whitelist";
    static char value1[] = "a-process-with-a-long-name,another-one-with-a-long-name";
    static char option2[] = "--sampling-times";
    static char value2[] = "100";
    static char port[] = "--port";
    static char* tool[] = {program, option1, value1, option2, value2, nullptr};
    static char* stat[] = {program, port, value2, nullptr};
    return viewer ? stat : tool;
}

Operation OnController(const std::string& name, Memory memory, ConfigType type,
                       std::function<void(Run&)> arrange, std::function<void(Run&)> call,
                       std::function<bool(const std::string&, const std::string&)> documented)
{
    return {"ConfCtl::" + name, memory,
            [type, arrange, call] {
                auto run = std::make_shared<Run>(type);
                if (arrange) {
                    arrange(*run);
                }
                return Trial{[run, call] { call(*run); }, [run] { return run->State(); }};
            },
            std::move(documented)};
}

void InitTool(Run& run)
{
    run.result = run.ctl.Init(5, Words(false), false, run.conf, run.warning);
}

void InitByString(Run& run)
{
    static const std::string CMD = "cmd:--whitelist a-process-with-a-long-name --sampling-times 100";
    run.result = run.ctl.ParseStringCmd(CMD, run.conf, run.warning);
}

std::string SettingsOf(const std::string& state)
{
    const std::size_t warning = state.find("warning ");
    return state.substr(state.find('\n', warning) + 1);
}

/// What `call` gives without a configuration file: the settings that stand in for a file that cannot be used.
std::string SettingsWithoutFile(void (*call)(Run&))
{
    Machine::Get().Remove(CONFIG_NAME);
    Run run(ConfigType::TARNIX);
    call(run);
    Machine::Get().Write(CONFIG_NAME, ConfigText());
    return SettingsOf(run.State());
}

/// Either the call fails and leaves the configuration as it was, or the file is told to be unusable and the
/// defaults take its place.
std::function<bool(const std::string&, const std::string&)> InitFailure(void (*call)(Run&))
{
    const std::string defaults = SettingsWithoutFile(call);
    return [defaults](const std::string& state, const std::string& before) {
        if (FailedHalfWay(state, before)) {
            return SettingsOf(state) == SettingsOf(before);
        }
        return state.find("warning 1 yaml config parse failed, will use default value. ") !=
                   std::string::npos &&
               SettingsOf(state) == defaults;
    };
}

void ArrangeMap(Run& run)
{
    run.ctl.InitOptMap(false);
}

Operation Split()
{
    struct Outcome {
        Outcome() = default;
        Outcome(const Outcome&) = delete;
        Outcome& operator=(const Outcome&) = delete;
        ~Outcome() { Free(); }
        void Free()
        {
            ctl.FreeCommandLine(words.first, words.second);
            words = {0, nullptr};
        }
        ConfCtl ctl{ConfigType::TNSTAT};
        std::pair<int, char**> words{0, nullptr};
    };
    return {"ConfCtl::ConvertStringCmd", Memory::THROWS,
            [] {
                static const std::string LINE = "kovari_enable --whitelist a-process-with-a-long-name -i 100";
                auto outcome = std::make_shared<Outcome>();
                return Trial{[outcome] {
                                 outcome->Free();
                                 outcome->words = outcome->ctl.ConvertStringCmd(LINE);
                             },
                             [outcome] {
                                 std::string text;
                                 for (int i = 0; i < outcome->words.first; ++i) {
                                     text += std::string("<") + outcome->words.second[i] + ">";
                                 }
                                 return text;
                             }};
            },
            nullptr};
}

Operation Release()
{
    return {"ConfCtl::FreeCommandLine", Memory::NONE,
            [] {
                auto ctl = std::make_shared<ConfCtl>(ConfigType::TNSTAT);
                auto words = std::make_shared<std::pair<int, char**>>(ctl->ConvertStringCmd("one two"));
                return Trial{[ctl, words] {
                                 ctl->FreeCommandLine(words->first, words->second);
                                 *words = {0, nullptr};
                             },
                             [words] { return std::to_string(words->first); }};
            },
            nullptr};
}

}  // namespace

Operations ControllerOperations()
{
    Machine::Get();
    static const std::string PATH = CONFIG_NAME;
    constexpr ConfigType TOOL = ConfigType::TARNIX;
    constexpr ConfigType VIEWER = ConfigType::TNSTAT;
    return {
        Returning("ConfCtl::ConfCtl", Memory::THROWS,
                  [] { return std::make_unique<ConfCtl>(ConfigType::TNSTAT) != nullptr; }),
        OnController("Init", Memory::THROWS, TOOL, nullptr, InitTool, InitFailure(InitTool)),
        OnController("ParseStringCmd", Memory::THROWS, TOOL, nullptr, InitByString,
                     InitFailure(InitByString)),
        OnController(
            "InitTnstat", Memory::THROWS, VIEWER, nullptr,
            [](Run& run) { run.result = run.ctl.InitTnstat(3, Words(true), run.viewer); }, FailedUnchanged),
        OnController(
            "InitOptMap", Memory::THROWS, TOOL, nullptr,
            [](Run& run) { run.result = run.ctl.InitOptMap(false); }, FailedUnchanged),
        OnController(
            "ParseCmdline", Memory::THROWS, TOOL, ArrangeMap,
            [](Run& run) { run.result = run.ctl.ParseCmdline(5, Words(false), false, run.conf); },
            FailedHalfWay),
        OnController(
            "ParseTnstatCmdline", Memory::THROWS, VIEWER, ArrangeMap,
            [](Run& run) { run.result = run.ctl.ParseTnstatCmdline(3, Words(true), run.viewer); },
            FailedHalfWay),
        OnController(
            "GetKovariCmd", Memory::THROWS, VIEWER, nullptr,
            [](Run& run) {
                static const std::string CMD = "cmd:--log-level debug --sampling-times 100";
                run.result = run.ctl.GetKovariCmd(CMD, run.line);
            },
            FailedUnchanged),
        Split(),
        Release(),
        OnController(
            "ResetConfCtl", Memory::NONE, TOOL, ArrangeMap, [](Run& run) { run.ctl.ResetConfCtl(); },
            nullptr),
        OnController(
            "LoadConfig", Memory::THROWS, TOOL, nullptr,
            [](Run& run) { run.result = run.ctl.LoadConfig(PATH); }, FailedUnchanged),
        // The entries of "process" are appended: without those of the attempt that failed.
        OnController(
            "ParseYaml", Memory::THROWS, TOOL, ArrangeMap,
            [](Run& run) {
                run.conf.process.clear();
                run.result = run.ctl.ParseYaml(PATH, false, false, run.conf);
            },
            FailedHalfWay),
    };
}

}  // namespace faults
