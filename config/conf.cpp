// SPDX-License-Identifier: MIT

#include "config/conf.h"

#include <algorithm>
#include <map>

#include "common/probes.h"
#include "config/process_pattern.h"

namespace {

TnResult NetAffinityNotFound(const std::string& interface)
{
    return {1, "net affinity node not found, net_name: " + interface};
}

bool MatchesAny(const std::string& name, const std::unordered_set<std::string>& patterns)
{
    return std::any_of(patterns.begin(), patterns.end(), [&name](const std::string& pattern) {
        return process_pattern::FullMatch(pattern, name);
    });
}

bool HasInterface(const ProcConf& entry)
{
    return !entry.netAffinity.empty();
}

bool AppliesTo(const ProcConf& entry, const std::string& cmdline)
{
    if (entry.paramsRegex.empty()) {
        return cmdline.empty();
    }
    return process_pattern::FullMatch(entry.paramsRegex, cmdline);
}

}  // namespace

bool IsNeedTune(const std::string& name, const std::unordered_set<std::string>& whitelist,
                const std::unordered_set<std::string>& blacklist)
{
    return !MatchesAny(name, blacklist) && (whitelist.empty() || MatchesAny(name, whitelist));
}

TnResult Conf::IntervalVarInit()
{
    // By name, so that the same configuration always reports the same interface first.
    std::map<std::string, std::vector<ProcConf>*> sorted;
    for (auto& [name, entries] : process) {
        if (std::any_of(entries.begin(), entries.end(), HasInterface)) {
            sorted.emplace(name, &entries);
        }
    }
    for (auto& item : sorted) {
        for (ProcConf& entry : *item.second) {
            if (!HasInterface(entry)) {
                continue;
            }
            const int node = GetNetIntfNode(entry.netAffinity);
            if (node < 0) {
                return NetAffinityNotFound(entry.netAffinity);
            }
            entry.netAffinityNode = node;
        }
    }
    return {};
}

ProcConf Conf::GetProcConf(const std::string& name, const std::string& cmdline) const
{
    if (name.empty()) {
        return g_defaultProcConf;
    }
    if (!IsNeedTune(name, whitelist, blacklist)) {
        ProcConf excluded = g_defaultProcConf;
        excluded.needTune = 0;
        return excluded;
    }
    const auto found = process.find(name);
    if (found == process.end()) {
        return g_defaultProcConf;
    }
    const std::vector<ProcConf>& entries = found->second;
    if (entries.size() == 1 && entries.front().paramsRegex.empty()) {
        return entries.front();
    }
    const auto chosen = std::find_if(entries.begin(), entries.end(),
                                     [&cmdline](const ProcConf& entry) { return AppliesTo(entry, cmdline); });
    return chosen == entries.end() ? g_defaultProcConf : *chosen;
}

TnResult TnStatConf::IsValid() const
{
    return {};
}
