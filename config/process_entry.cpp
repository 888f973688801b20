// SPDX-License-Identifier: MIT

#include "config/process_entry.h"

#include <array>
#include <limits>

#include "config/reader_messages.h"
#include "config/text_values.h"

namespace {

enum Key { NAME, PARAMS_REGEX, NET_AFFINITY, ALGORITHM, MIGRATE_ALL_MEMORY, DEFAULT_MIG_MEM_NODE, KEYS };

constexpr std::array<const char*, KEYS> KEY_NAMES = {
    "name", "params-regex", "net-affinity", "algorithm", "migrate-all-memory", "default-mig-mem-node"};

/// What stands under one key; `text` belongs to the document and is null for what is no scalar.
struct Value {
    bool present = false;
    const std::string* text = nullptr;
};

using Values = std::array<Value, KEYS>;

/// Of equal keys the first counts.
Values ReadValues(const YAML::Node& node)
{
    Values values;
    for (auto it = node.begin(); it != node.end(); ++it) {
        const auto item = *it;
        if (!item.first.IsScalar()) {
            continue;
        }
        for (std::size_t key = 0; key < KEYS; ++key) {
            if (item.first.Scalar() == KEY_NAMES[key] && !values[key].present) {
                values[key] = {true, item.second.IsScalar() ? &item.second.Scalar() : nullptr};
            }
        }
    }
    return values;
}

/// True when `key` has a text to convert; a failing `result` means that it has something else.
bool HasText(const Values& values, Key key, TnResult& result)
{
    const Value& value = values[key];
    if (value.present && value.text == nullptr) {
        result = reader_messages::NotAScalar(KEY_NAMES[key]);
    }
    return value.text != nullptr;
}

TnResult TakeText(const Values& values, Key key, ListBudget& budget, std::string& out)
{
    TnResult result;
    if (HasText(values, key, result)) {
        result = budget.TakeText(*values[key].text);
        if (result.code == 0) {
            out = *values[key].text;
        }
    }
    return result;
}

template <typename T>
TnResult TakeEnum(ParseStage stage, const Values& values, Key key, const std::map<T, std::string>& map,
                  T& out)
{
    TnResult result;
    if (HasText(values, key, result)) {
        result = text_values::ToEnum(stage, KEY_NAMES[key], *values[key].text, map, out);
    }
    return result;
}

TnResult TakeNode(ParseStage stage, const Values& values, Key key, std::int32_t& out)
{
    TnResult result;
    if (!HasText(values, key, result)) {
        return result;
    }
    std::uint32_t number = 0;
    result = text_values::ToUint(stage, KEY_NAMES[key], *values[key].text, number);
    if (result.code != 0) {
        return result;
    }
    if (number > static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max())) {
        return reader_messages::NotAnUnsigned(stage, KEY_NAMES[key], std::to_string(number));
    }
    out = static_cast<std::int32_t>(number);
    return {};
}

}  // namespace

namespace process_entry {

TnResult Read(ParseStage stage, const YAML::Node& node, ListBudget& budget, std::string& name, ProcConf& conf)
{
    Values values;
    if (stage == ParseStage::YAML && node.IsMap()) {
        if (TnResult result = budget.TakeKeys(node.size()); result.code != 0) {
            return result;
        }
        values = ReadValues(node);
    }
    if (TnResult result = TakeText(values, NAME, budget, name); result.code != 0) {
        return result;
    }
    if (name.empty()) {
        return reader_messages::ProcessNameIsEmpty();
    }
    if (TnResult result = TakeText(values, PARAMS_REGEX, budget, conf.paramsRegex); result.code != 0) {
        return result;
    }
    if (TnResult result = TakeText(values, NET_AFFINITY, budget, conf.netAffinity); result.code != 0) {
        return result;
    }
    if (TnResult result = TakeEnum(stage, values, ALGORITHM, g_procAlgMap, conf.algorithm);
        result.code != 0) {
        return result;
    }
    if (TnResult result = TakeEnum(stage, values, MIGRATE_ALL_MEMORY, g_boolMap, conf.migrateAllMemory);
        result.code != 0) {
        return result;
    }
    return TakeNode(stage, values, DEFAULT_MIG_MEM_NODE, conf.defaultMigMemNode);
}

}  // namespace process_entry
