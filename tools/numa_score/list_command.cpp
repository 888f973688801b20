// SPDX-License-Identifier: MIT

#include <string>
#include <vector>

#include "host/escape.h"
#include "host/pmu_discovery.h"
#include "tools/numa_score/commands.h"
#include "tools/numa_score/exit_status.h"
#include "tools/numa_score/plugin_set.h"

namespace numa_score {
namespace {

std::string Joined(const std::vector<std::string>& texts)
{
    std::string joined;
    for (const std::string& text : texts) {
        joined += joined.empty() ? "" : " ";
        joined += host::EscapeText(text, 64);
    }
    return joined;
}

std::string CpuText(const host::PmuFacts& facts)
{
    std::string text = facts.scope == host::CpuScope::MASK   ? "cpumask"
                       : facts.scope == host::CpuScope::CPUS ? "cpus"
                                                             : "no cpumask";
    char separator = ' ';
    for (const std::uint32_t cpu : facts.cpus) {
        text += separator + std::to_string(cpu);
        separator = ',';
    }
    return text;
}

std::string PmuLine(const host::Pmu& pmu)
{
    std::string line = "  " + host::EscapeText(pmu.name, 64) + ": ";
    if (!pmu.missing.empty()) {
        return line + "not usable, lacks " + Joined(pmu.missing) + "; has " + Joined(pmu.events) + "\n";
    }
    if (!pmu.error.empty()) {
        return line + "not usable, " + pmu.error + "\n";
    }
    return line + "usable, type " + std::to_string(pmu.facts.type) + ", " + CpuText(pmu.facts) + ", events " +
           Joined(pmu.events) + "\n";
}

std::string InstanceLine(const kovari::Interface& instance)
{
    std::string line = "  instance " + host::EscapeText(instance.name) + " " +
                       host::EscapeText(instance.version) + ", period " + std::to_string(instance.period) +
                       " ms, topics";
    if (instance.supportTopics.empty()) {
        line += " none";
    }
    for (const kovari::Topic& topic : instance.supportTopics) {
        line += " " + host::EscapeText(topic.instanceName + "::" + topic.topicName + "::" + topic.params);
    }
    return line + "\n";
}

}  // namespace

int ListCommand(const Options& options, ErrorChannel err)
{
    const std::vector<std::string> events(host::UNCORE_EVENTS.begin(), host::UNCORE_EVENTS.end());
    const host::PmuScan scan = host::ScanPmus(options.sysfsRoot, events);
    int status = EXIT_GOOD;
    std::string text = "PMUs with " + Joined(events) + "\n";
    if (!scan.error.empty()) {
        err.talk.Error(scan.error);
        status = EXIT_NO_SOURCE;
    }
    for (const std::string& remark : scan.remarks) {
        err.talk.Remark(remark);
    }
    for (const std::vector<host::Pmu>* const pmus : {&scan.usable, &scan.unusable}) {
        for (const host::Pmu& pmu : *pmus) {
            text += PmuLine(pmu);
        }
    }
    if (scan.usable.empty() && scan.unusable.empty()) {
        text += "  none\n";
    }
    text += "all PMUs\n  " + (scan.names.empty() ? "none" : Joined(scan.names)) + "\n";

    const PluginSetResult plugins = LoadScorePlugins(options.plugin);
    for (const std::unique_ptr<host::Plugin>& plugin : plugins.set.plugins) {
        text += "plug-in " + host::EscapeText(plugin->Path()) + "\n";
        for (const std::shared_ptr<kovari::Interface>& instance : plugin->Instances()) {
            text += InstanceLine(*instance);
        }
    }
    if (!plugins.error.empty()) {
        err.talk.Error(plugins.error);
        status = status == EXIT_GOOD ? EXIT_RUN_TIME : status;
    }
    return PrintResult(text, "", status, err);
}

}  // namespace numa_score
