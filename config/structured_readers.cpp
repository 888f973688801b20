// SPDX-License-Identifier: MIT

#include "config/structured_readers.h"

#include <optional>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "common/string_util.h"
#include "config/list_budget.h"
#include "config/process_entry.h"
#include "config/reader_messages.h"
#include "config/yaml_lookup.h"

namespace {

const char* const PROCESS = "process";
const char* const NUMA_RATIO = "numa-ratio";
const char* const GROUP = "group";

/// The texts of a list; false when it is no list of texts. A failing `result` means that it is too large.
bool ReadTexts(const YAML::Node& list, ListBudget& budget, std::vector<std::string>& texts, TnResult& result)
{
    if (!list.IsSequence()) {
        return false;
    }
    result = budget.TakeItems(list.size());
    if (result.code != 0) {
        return true;
    }
    texts.reserve(list.size());
    for (const auto& item : list) {
        std::string text;
        if (!yaml_lookup::Text(item, text)) {
            return false;
        }
        result = budget.TakeText(text);
        if (result.code != 0) {
            return true;
        }
        texts.push_back(std::move(text));
    }
    return true;
}

}  // namespace

TnResult ParseCfgProcess(const ParseInput& input, Conf& conf)
{
    if (input.stage != ParseStage::YAML) {
        return {};
    }
    return ParseYamlProcess(input, conf);
}

TnResult ParseYamlProcess(const ParseInput& input, Conf& conf)
{
    const std::string key = PROCESS;
    const std::optional<YAML::Node> found = yaml_lookup::Child(input.node, key);
    if (!found) {
        return reader_messages::NotFound(key);
    }
    const YAML::Node& list = *found;
    if (!list.IsSequence()) {
        return reader_messages::NotASequence(key);
    }
    ListBudget budget(key);
    if (TnResult result = budget.TakeItems(list.size()); result.code != 0) {
        return result;
    }
    for (const auto& item : list) {
        std::string name;
        ProcConf entry = g_defaultProcConf;
        if (TnResult result = process_entry::Read(input.stage, item, budget, name, entry); result.code != 0) {
            return result;
        }
        std::vector<ProcConf>& entries = conf.process[name];
        entry.confId = static_cast<std::uint32_t>(entries.size() + 1);
        entry.needTune = 1;
        entries.push_back(std::move(entry));
    }
    return {};
}

TnResult ParseCfgNumaRatio(const ParseInput& input, Conf& conf)
{
    const std::string key = NUMA_RATIO;
    if (input.stage != ParseStage::YAML) {
        return reader_messages::OnlyInFile(key);
    }
    ListBudget budget(key);
    std::vector<std::string> texts;
    TnResult result;
    const std::optional<YAML::Node> list = yaml_lookup::Child(input.node, key);
    if (!list || !ReadTexts(*list, budget, texts, result)) {
        return reader_messages::NotFound(key);
    }
    if (result.code != 0) {
        return result;
    }
    if (texts.empty()) {
        return reader_messages::IsEmpty(key);
    }
    conf.numaRatio.assign(texts.size(), 0);
    for (std::size_t i = 0; i < texts.size(); ++i) {
        if (!StringToUint(texts[i], conf.numaRatio[i])) {
            return reader_messages::RatioIsNoUnsigned(texts[i]);
        }
    }
    return {};
}

TnResult ParseCfgGroup(const ParseInput& input, Conf& conf)
{
    const std::string key = GROUP;
    if (input.stage != ParseStage::YAML) {
        return reader_messages::OnlyInFile(key);
    }
    const std::optional<YAML::Node> found = yaml_lookup::Child(input.node, key);
    if (!found) {
        return reader_messages::NotFound(key);
    }
    const YAML::Node& list = *found;
    if (!list.IsSequence()) {
        return reader_messages::NotASequence(key);
    }
    if (list.size() == 0) {
        return reader_messages::IsEmpty(key);
    }
    ListBudget groups(key);
    if (TnResult result = groups.TakeItems(list.size()); result.code != 0) {
        return result;
    }
    ListBudget names(key);
    std::vector<std::unordered_set<std::string>> sets;
    sets.reserve(list.size());
    for (const auto& item : list) {
        std::vector<std::string> texts;
        TnResult result;
        if (!ReadTexts(item, names, texts, result)) {
            return reader_messages::NotASequence(key);
        }
        if (result.code != 0) {
            return result;
        }
        sets.emplace_back(texts.begin(), texts.end());
    }
    conf.group = std::move(sets);
    return {};
}
