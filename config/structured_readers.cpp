// SPDX-License-Identifier: MIT

#include "config/structured_readers.h"

#include <limits>
#include <optional>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "common/string_util.h"
#include "config/list_budget.h"
#include "config/reader_messages.h"
#include "config/value_readers.h"
#include "config/yaml_lookup.h"

namespace {

const char* const PROCESS = "process";
const char* const NUMA_RATIO = "numa-ratio";
const char* const GROUP = "group";

TnResult ReadMigMemNode(const ParseInput& entry, std::int32_t& out)
{
    const std::string key = "default-mig-mem-node";
    std::uint32_t value = 0;
    TnResult result = CommonParseUint(entry, key, value);
    if (result.code != 0 || result.message == YAML_WITHOUT_OPT) {
        return result;
    }
    if (value > static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max())) {
        return reader_messages::NotAnUnsigned(entry.stage, key, std::to_string(value));
    }
    out = static_cast<std::int32_t>(value);
    return {};
}

/// One entry of the list, without its place among those of its name.
TnResult ReadEntry(const ParseInput& entry, std::string& name, ProcConf& conf)
{
    if (TnResult result = CommonGetString(entry, "name", name); result.code != 0) {
        return result;
    }
    if (name.empty()) {
        return reader_messages::ProcessNameIsEmpty();
    }
    if (TnResult result = CommonGetString(entry, "params-regex", conf.paramsRegex); result.code != 0) {
        return result;
    }
    if (TnResult result = CommonGetString(entry, "net-affinity", conf.netAffinity); result.code != 0) {
        return result;
    }
    if (TnResult result = CommonParseEnum(entry, "algorithm", g_procAlgMap, conf.algorithm);
        result.code != 0) {
        return result;
    }
    if (TnResult result = CommonParseBool(entry, "migrate-all-memory", conf.migrateAllMemory);
        result.code != 0) {
        return result;
    }
    return ReadMigMemNode(entry, conf.defaultMigMemNode);
}

TnResult TakeTexts(ListBudget& budget, const std::string& name, const ProcConf& conf)
{
    for (const std::string* text : {&name, &conf.paramsRegex, &conf.netAffinity}) {
        if (TnResult result = budget.TakeText(*text); result.code != 0) {
            return result;
        }
    }
    return {};
}

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
        if (TnResult result = ReadEntry({input.stage, item, {}}, name, entry); result.code != 0) {
            return result;
        }
        if (TnResult result = TakeTexts(budget, name, entry); result.code != 0) {
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
