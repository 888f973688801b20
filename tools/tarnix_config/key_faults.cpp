// SPDX-License-Identifier: MIT

#include "tools/tarnix_config/key_faults.h"

#include <functional>
#include <map>
#include <string>

#include "config/process_pattern.h"
#include "tools/tarnix_config/fault_texts.h"
#include "tools/tarnix_config/nearest.h"

namespace tarnix_config {
namespace {

/// Aliases can name one list any number of times; what is wrong with it need not be said that often.
constexpr std::size_t MAX_ENTRIES = 65536;

const std::vector<std::string>& ProcessKeys()
{
    static const std::vector<std::string> keys = {"name",      "params-regex",       "net-affinity",
                                                  "algorithm", "migrate-all-memory", "default-mig-mem-node"};
    return keys;
}

using UnknownText = std::function<std::string(const std::string& key)>;

/// Faults of one mapping's keys: `unknown` is the text for a key that should not be there, empty for a good
/// one.
void AddMappingFaults(const YAML::Node& mapping, const UnknownText& unknown, std::vector<Fault>& faults)
{
    std::map<std::string, int> lines;
    for (const auto& entry : mapping) {
        if (!entry.first.IsScalar()) {
            faults.push_back(FaultAt(entry.first, fault_texts::KeyIsNoText()));
            continue;
        }
        const std::string& key = entry.first.Scalar();
        const auto [first, isNew] = lines.emplace(key, entry.first.Mark().line + 1);
        if (!isNew) {
            faults.push_back(FaultAt(entry.first, fault_texts::RepeatedKey(key, first->second)));
        } else if (const std::string text = unknown(key); !text.empty()) {
            faults.push_back(FaultAt(entry.first, text));
        }
    }
}

std::string UnknownProcessKey(const std::string& key)
{
    for (const std::string& known : ProcessKeys()) {
        if (key == known) {
            return {};
        }
    }
    return fault_texts::UnknownKeyOfProcess(key, Nearest(key, ProcessKeys()));
}

/// Calls `visit` for the items of the sequence under `key`, if there is one.
void ForEachItem(const YAML::Node& root, const std::string& key,
                 const std::function<void(const YAML::Node&)>& visit)
{
    const YAML::Node list = root[key];
    if (!list.IsDefined() || !list.IsSequence() || list.size() > MAX_ENTRIES) {
        return;
    }
    for (const auto& item : list) {
        visit(item);
    }
}

void AddPatternFault(const std::string& key, const YAML::Node& node, std::vector<Fault>& faults)
{
    if (!node.IsDefined() || !node.IsScalar()) {
        return;
    }
    if (const std::string reason = process_pattern::Refusal(node.Scalar()); !reason.empty()) {
        faults.push_back(FaultAt(node, fault_texts::PatternNeverMatches(key, node.Scalar(), reason)));
    }
}

}  // namespace

Fault FaultAt(const YAML::Node& node, const std::string& text)
{
    const YAML::Mark mark = node.Mark();
    if (mark.is_null()) {
        return {0, 0, text};
    }
    return {mark.line + 1, mark.column + 1, text};
}

std::vector<Fault> KeyFaults(const YAML::Node& root, const std::vector<Option>& options)
{
    std::vector<Fault> faults;
    std::map<std::string, bool> known;  // whether the file may hold it
    std::vector<std::string> names;
    for (const Option& opt : options) {
        known[opt.longOpt] = opt.IsAttr(OptAttr::YAML);
        if (opt.IsAttr(OptAttr::YAML)) {
            names.push_back(opt.longOpt);
        }
    }
    const auto unknown = [&](const std::string& key) -> std::string {
        const auto found = known.find(key);
        if (found == known.end()) {
            return fault_texts::UnknownKey(key, Nearest(key, names));
        }
        return found->second ? std::string() : fault_texts::OnlyOnCommandLine(key);
    };
    AddMappingFaults(root, unknown, faults);
    ForEachItem(root, "process", [&faults](const YAML::Node& entry) {
        if (entry.IsMap()) {
            AddMappingFaults(entry, UnknownProcessKey, faults);
        }
    });
    return faults;
}

std::vector<Fault> PatternFaults(const YAML::Node& root)
{
    std::vector<Fault> faults;
    for (const char* const key : {"whitelist", "blacklist"}) {
        ForEachItem(root, key, [&](const YAML::Node& item) { AddPatternFault(key, item, faults); });
    }
    ForEachItem(root, "process", [&faults](const YAML::Node& entry) {
        if (entry.IsMap()) {
            const std::string key = "params-regex";
            AddPatternFault(key, entry[key], faults);
        }
    });
    return faults;
}

}  // namespace tarnix_config
