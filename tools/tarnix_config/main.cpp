// SPDX-License-Identifier: MIT
//
// tarnix-config: checks and shows a configuration file of tarnix without running it.

#include <unistd.h>

#include <exception>
#include <new>
#include <string>
#include <system_error>

#include <CLI/CLI.hpp>

#include "config/conf_enums.h"
#include "tools/cli/output.h"
#include "tools/tarnix_config/checked_file.h"
#include "tools/tarnix_config/reports.h"

namespace {

using namespace tarnix_config;

enum ExitStatus : int {
    EXIT_GOOD = 0,
    EXIT_FAULTS = 1,
    EXIT_USAGE = 2,
    EXIT_RUN_TIME = 3,  ///< output cannot be written, out of memory
};

struct Options {
    std::string command;
    std::string file;
    bool underKovari = false;
};

/// Says on standard error why there is no result.
int Complain(cli::Output& err, const std::string& text, int status)
{
    err.Buffer() += text;
    err.Close();
    return err.GetState() == cli::Output::State::FAILED ? EXIT_RUN_TIME : status;
}

/// Prints a result.
int Finish(cli::Output& out, cli::Output& err, const std::string& text, int status)
{
    out.Buffer() += text;
    out.Close();
    if (out.GetState() != cli::Output::State::FAILED) {
        return status;
    }
    const std::error_code reason(out.ErrorNumber(), std::generic_category());
    return Complain(err, "tarnix-config: cannot write to standard output: " + reason.message() + "\n",
                    EXIT_RUN_TIME);
}

int Execute(const Options& options, cli::Output& out, cli::Output& err)
{
    const CheckedFile file = CheckFile(options.file, options.underKovari);
    const std::string faults = FaultReport(options.file, file);
    if (options.command == "check") {
        return Finish(out, err, faults, faults.empty() ? EXIT_GOOD : EXIT_FAULTS);
    }
    if (!faults.empty()) {
        return Complain(err, faults, EXIT_FAULTS);
    }
    if (options.command == "show") {
        return Finish(out, err, ShowReport(file.conf), EXIT_GOOD);
    }
    return Finish(out, err, options.command == "diff" ? DiffReport(file.conf) : HashReport(file.conf),
                  EXIT_GOOD);
}

void AddCommand(CLI::App& app, const std::string& name, const std::string& help, Options& options)
{
    CLI::App* const command = app.add_subcommand(name, help);
    command->add_option("FILE", options.file, "Configuration file")->capture_default_str();
    command->add_flag("--kovari", options.underKovari, "Check as under the framework instead of run alone");
    command->callback([&options, name] { options.command = name; });
}

int Main(int argc, char** argv, cli::Output& out, cli::Output& err)
{
    Options options;
    options.file = TARNIX_YAML;
    CLI::App app(
        "Checks and shows a configuration file of tarnix without running it.\n"
        "Exit status: 0 good, 1 faults, 2 wrong arguments, 3 the output cannot be written, or no memory.",
        "tarnix-config");
    app.set_version_flag("--version", "tarnix-config " TARNIX_CONFIG_VERSION);
    app.require_subcommand(1);
    AddCommand(app, "check", "Name every fault with its line and column", options);
    AddCommand(app, "show", "Print the effective configuration", options);
    AddCommand(app, "diff", "Print what differs from the defaults", options);
    AddCommand(app, "hash", "Print a SHA-256 of the effective configuration", options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        std::ostringstream text;
        const int status = app.exit(error, text, text);
        return status == 0 ? Finish(out, err, text.str(), EXIT_GOOD)
                           : Complain(err, "tarnix-config: " + text.str(), EXIT_USAGE);
    }
    return Execute(options, out, err);
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        cli::Output out(STDOUT_FILENO, false, cli::Output::Flush::WHEN_FULL, {});
        cli::Output err(STDERR_FILENO, false, cli::Output::Flush::WHEN_FULL, {});
        try {
            return Main(argc, argv, out, err);
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const std::exception& error) {
            return Complain(err, std::string("tarnix-config: ") + error.what() + "\n", EXIT_RUN_TIME);
        }
    } catch (const std::bad_alloc&) {
        return cli::EndOutOfMemory("tarnix-config", EXIT_RUN_TIME);
    }
}
