// SPDX-License-Identifier: MIT

#include <algorithm>
#include <string>
#include <vector>

#include "host/doctor.h"
#include "host/escape.h"
#include "host/perf_events.h"
#include "tools/numa_score/commands.h"
#include "tools/numa_score/exit_status.h"
#include "tools/numa_score/plugin_set.h"

namespace numa_score {
namespace {

constexpr std::size_t VERDICT_WIDTH = 6;
constexpr std::size_t NAME_WIDTH = 14;

std::string Padded(const std::string& text, std::size_t width)
{
    return text + std::string(text.size() < width ? width - text.size() : 1, ' ');
}

std::string CheckLine(const host::DoctorCheck& check)
{
    std::string line = Padded(host::VerdictName(check.verdict), VERDICT_WIDTH) +
                       Padded(host::EscapeText(check.name, 64), NAME_WIDTH) + check.detail;
    if (!check.remedy.empty()) {
        line += "; remedy: " + check.remedy;
    }
    return line + "\n";
}

host::DoctorCheck PluginCheck(const std::string& given)
{
    const PluginSetResult loaded = LoadScorePlugins(given);
    host::DoctorCheck check;
    check.name = "plug-in";
    if (!loaded.error.empty()) {
        check.verdict = host::Verdict::FAIL;
        check.detail = loaded.error;
        check.remedy = "name the library with --plugin";
        return check;
    }
    const ScorePublisher publisher = FindScorePublisher(loaded.set.Instances());
    check.detail = host::EscapeText(loaded.set.plugins.front()->Path()) + " loads, instance " +
                   host::EscapeText(publisher.instance->name) + " " +
                   host::EscapeText(publisher.instance->version);
    return check;
}

}  // namespace

int DoctorCommand(const Options& options, ErrorChannel err)
{
    host::DoctorOptions doctor;
    doctor.live.sysfsRoot = options.sysfsRoot;
    doctor.live.mappings = options.mappings;
    doctor.procfsRoot = options.procfsRoot;
    std::vector<host::DoctorCheck> checks = host::Diagnose(doctor, host::SystemPerfApi());
    const bool sourceUsable = host::WorstVerdict(checks) != host::Verdict::FAIL;
    checks.push_back(PluginCheck(options.plugin));
    const bool pluginUsable = checks.back().verdict != host::Verdict::FAIL;

    std::string text;
    for (const host::DoctorCheck& check : checks) {
        text += CheckLine(check);
    }
    if (sourceUsable && pluginUsable) {
        text += "a live measurement is possible here: numa-score live\n";
    }
    const int status = !pluginUsable ? EXIT_RUN_TIME : !sourceUsable ? EXIT_NO_SOURCE : EXIT_GOOD;
    return PrintResult(text, "", status, err);
}

}  // namespace numa_score
