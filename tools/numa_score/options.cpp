// SPDX-License-Identifier: MIT

#include "tools/numa_score/options.h"

#include <cstddef>

#include <array>
#include <deque>
#include <memory>
#include <sstream>
#include <string_view>
#include <utility>

#include <CLI/CLI.hpp>

#include "host/pmu_terms.h"
#include "tools/numa_score/exit_status.h"
#include "tools/numa_score/messages.h"
#include "tools/numa_score/option_table.h"

namespace numa_score {
namespace {

struct CommandRow {
    Command command;
    const char* name;
    const char* help;
};

constexpr std::array<CommandRow, 6> COMMANDS = {{
    {Command::LIVE, "live", "Score this machine, from its uncore counters"},
    {Command::REPLAY, "replay", "Score a recording of perf stat -I N -x SEP -o FILE"},
    {Command::DEMO, "demo", "Score a made-up machine: a story of 16 seconds"},
    {Command::DOCTOR, "doctor", "Say what a live measurement lacks here"},
    {Command::LIST, "list", "Show the PMUs with their events, and what the plug-in offers"},
    {Command::CHECK, "check", "Hold a plug-in against the rules of the boundary, a verdict for each"},
}};

constexpr const char* PURPOSE =
    "Shows how much of a machine's memory traffic stays inside its NUMA domain: drives the plug-in "
    "libscenario_numa.so, 1 is all local.";

constexpr const char* FOOTER =
    "Exit status: 0 good, 1 run-time failure or a rule failed or not examined, 2 usage, 3 no PMU, "
    "permission, recording or plug-in to check.\n"
    "Environment: NUMA_SCORE_PLUGIN (as --plugin), NO_COLOR, TERM, LC_ALL, LC_CTYPE, LANG.";

constexpr const char* VERSION_TEXT =
    "numa-score " NUMA_SCORE_VERSION "\nplug-in directory " NUMA_SCORE_PLUGIN_DIR;

/// One option at one place of the command line, with what was given there.
struct Given {
    const OptionRow* row;
    CLI::App* place;
    CLI::Option* option = nullptr;
    std::vector<std::string> values;
};

CommandLine Fail(const std::string& error, const std::string& command)
{
    CommandLine line;
    line.status = EXIT_USAGE;
    line.error = error;
    line.hint = UsageHint(command);
    return line;
}

class Parser {
public:
    Parser();
    CommandLine Parse(int argc, const char* const* argv);

private:
    void AddOptions(CLI::App& place, unsigned commands);
    std::string Apply(const CommandRow& command, Options& options);
    std::string ApplyOption(const CommandRow& command, Given& given, Options& options);
    static std::string Check(const Options& options);
    std::string Describe(const CLI::ParseError& error) const;
    const CommandRow* Chosen() const;
    std::string ChosenName() const { return Chosen() == nullptr ? "" : Chosen()->name; }

    CLI::App app{PURPOSE, "numa-score"};
    std::array<CLI::App*, COMMANDS.size()> places{};
    std::deque<Given> all;
    std::string recording;
    std::string checked;
};

Parser::Parser()
{
    app.footer(FOOTER);
    app.require_subcommand(0,
                           1);  // none is told in our own words; what looks like a second one may be a file
    app.set_help_flag("-h,--help", "print this help and end");
    app.set_version_flag("--version", VERSION_TEXT, "print the version and end");
    for (std::size_t i = 0; i < COMMANDS.size(); ++i) {
        CLI::App& place = *app.add_subcommand(COMMANDS[i].name, COMMANDS[i].help);
        places[i] = &place;
        place.footer(FOOTER);
        place.set_version_flag("--version", VERSION_TEXT, "print the version and end");
        AddOptions(place, CommandBit(COMMANDS[i].command));
        if (COMMANDS[i].command == Command::REPLAY) {
            place.add_option("FILE", recording, "recording; - is standard input")->type_name(" ");
        }
        if (COMMANDS[i].command == Command::CHECK) {
            place.add_option("PLUGIN.so", checked, "library that is checked")->type_name(" ");
        }
    }
    // What every run knows may stand before the command too.
    AddOptions(app, CommandBit(Command::LIVE) | CommandBit(Command::REPLAY) | CommandBit(Command::DEMO));
}

/// Adds the options that all of `commands` know.
void Parser::AddOptions(CLI::App& place, unsigned commands)
{
    for (const OptionRow& row : OptionTable()) {
        if ((row.commands & commands) != commands) {
            continue;
        }
        Given& given = all.emplace_back();
        given.row = &row;
        given.place = &place;
        if (row.placeholder == nullptr) {
            given.option = place.add_flag(row.name, row.help)->disable_flag_override();
        } else {
            given.option = place.add_option(row.name, given.values, row.help);
            given.option->type_name(row.placeholder)->allow_extra_args(false);
        }
    }
}

const CommandRow* Parser::Chosen() const
{
    for (std::size_t i = 0; i < COMMANDS.size(); ++i) {
        if (places[i]->parsed()) {
            return &COMMANDS[i];
        }
    }
    return nullptr;
}

CommandLine Parser::Parse(int argc, const char* const* argv)
{
    CommandLine line;
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() != static_cast<int>(CLI::ExitCodes::Success)) {
            return Fail(Describe(error), ChosenName());
        }
        std::ostringstream text;
        app.exit(error, text, text);
        line.out = text.str();
        return line;
    }
    const CommandRow* const command = Chosen();
    if (command == nullptr) {
        return Fail(NoCommand(), "");
    }
    Options options;
    const std::string error = Apply(*command, options);
    if (!error.empty()) {
        return Fail(error, command->name);
    }
    line.options = std::move(options);
    return line;
}

std::string Parser::Describe(const CLI::ParseError& error) const
{
    const std::vector<std::string> remaining = app.remaining(true);
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ExtrasError) && !remaining.empty()) {
        return UnexpectedArgument(remaining.front());
    }
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ArgumentMismatch)) {
        const std::string_view text = error.what();
        const std::string name(text.substr(0, text.find_first_of(": ")));
        // A flag with a value is the one mismatch that is told without the dashes.
        return name.empty() || name.front() != '-' ? OptionTakesNoValue("--" + name) : OptionNeedsValue(name);
    }
    return BadCommandLine(error.what());
}

std::string Parser::Apply(const CommandRow& command, Options& options)
{
    options.command = command.command;
    if (command.command == Command::DEMO) {
        options.speed = 1.0;
    }
    for (Given& given : all) {
        if (given.option->count() > 0) {
            std::string error = ApplyOption(command, given, options);
            if (!error.empty()) {
                return error;
            }
        }
    }
    options.recording = recording;
    options.checked = checked;
    return Check(options);
}

std::string Parser::ApplyOption(const CommandRow& command, Given& given, Options& options)
{
    const OptionRow& row = *given.row;
    if ((row.commands & CommandBit(command.command)) == 0) {
        return OptionWithoutMeaning(row.name, command.name);
    }
    std::size_t times = 0;
    for (const Given& other : all) {
        times += other.row == &row ? other.option->count() : 0;
    }
    if (times > 1 && !row.repeatable) {
        return OptionTwice(row.name);
    }
    if (row.placeholder == nullptr) {
        return row.set(options, "");
    }
    for (const std::string& value : given.values) {
        const std::string expected = row.set(options, value);
        if (!expected.empty()) {
            return BadOptionValue(row.name, value, expected);
        }
    }
    return {};
}

std::string Parser::Check(const Options& options)
{
    for (const host::EventMapping& mapping : options.mappings) {
        const std::string error = host::ParseEventSelector(mapping.target).error;
        if (!error.empty()) {
            return BadMapping(mapping.eventName, mapping.target, error);
        }
    }
    if (options.command == Command::REPLAY && options.recording.empty()) {
        return NoRecordingGiven();
    }
    if (options.command == Command::CHECK) {
        if (options.checked.empty()) {
            return NoPluginGiven();
        }
        if (options.format == Format::CSV) {
            return BadOptionValue("--format", "csv", "table or json");
        }
    }
    if (options.compare.empty()) {
        return {};
    }
    if (options.compare == "-" && options.recording == "-") {
        return BothFromStandardInput();
    }
    if (options.perPmu) {
        return OptionsExclude("--compare", "--per-pmu");
    }
    if (options.speed) {
        return OptionsExclude("--compare", "--speed");
    }
    return {};
}

}  // namespace

const char* CommandName(Command command)
{
    for (const CommandRow& row : COMMANDS) {
        if (row.command == command) {
            return row.name;
        }
    }
    return "";
}

CommandLine ParseCommandLine(int argc, const char* const* argv)
{
    return Parser().Parse(argc, argv);
}

}  // namespace numa_score
