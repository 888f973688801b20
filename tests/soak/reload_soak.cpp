// SPDX-License-Identifier: MIT

#include "tests/soak/service_runs.h"

#include <cstddef>

#include <fstream>
#include <string>

#include "config/conf_ctl.h"
#include "tests/soak/soak.h"
#include "tests/support/scratch_directory.h"

namespace soak {
namespace {

constexpr std::size_t PROCESSES = 200;
constexpr std::uint64_t BAD_EVERY = 10;

/// A file as large as they get in practice; `level` is what a reload takes over.
std::string FileText(const std::string& level, const std::string& group)
{
    std::string text =
        "log-level: " + level + "\nsampling-interval: 200\nwhitelist: [java.*, redis-server]\n";
    text += "group:\n  - [" + group + ", other]\nprocess:\n";
    for (std::size_t i = 0; i < PROCESSES; ++i) {
        text += "  - name: worker-" + std::to_string(i) +
                "\n    params-regex: .*--port=" + std::to_string(6000 + i) + ".*\n";
    }
    return text;
}

std::string Write(const std::string& path, const std::string& text)
{
    std::ofstream(path) << text;
    return path;
}

}  // namespace

bool Reloads(std::uint64_t reloads)
{
    const support::ScratchDirectory directory;
    const std::string files[] = {Write(directory / "debug.yaml", FileText("debug", "java")),
                                 Write(directory / "error.yaml", FileText("error", "redis"))};
    const SysLogLevel levels[] = {SysLogLevel::DEBUG, SysLogLevel::ERROR};
    const std::string bad = Write(directory / "bad.yaml", FileText("debug", "java") + "  - [unclosed\n");

    ConfCtl ctl;
    Require(ctl.InitOptMap(false).code == 0, "the option map fills");
    Conf conf = g_defaultConf;
    const TnResult first = ctl.ParseYaml(files[0], false, false, conf);
    Require(first.code == 0 && conf.process.size() == PROCESSES, "the file is good");

    Watch watch("reloads of a file with 200 processes", reloads);
    for (std::uint64_t i = 0; i < reloads; ++i) {
        watch.Round();
        const bool isBad = i % BAD_EVERY == BAD_EVERY - 1;
        Conf reloaded = conf;
        const TnResult result = ctl.ParseYaml(isBad ? bad : files[i % 2], false, true, reloaded);
        Require((result.code != 0) == isBad, "good files are taken, bad ones refused");
        if (!isBad) {
            conf = reloaded;
            Require(conf.logLevel == levels[i % 2], "a reload takes over what may be reloaded");
        }
        Require(conf.process.size() == PROCESSES, "a reload adds no process");
        // The whole file too, as at the start of the program.
        Conf whole = g_defaultConf;
        Require(
            ctl.ParseYaml(files[i % 2], false, false, whole).code == 0 && whole.process.size() == PROCESSES,
            "the whole file is read");
    }
    return watch.End();
}

}  // namespace soak
