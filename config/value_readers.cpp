// SPDX-License-Identifier: MIT

#include "config/value_readers.h"

#include <optional>
#include <utility>

#include "config/list_budget.h"
#include "config/reader_messages.h"
#include "config/text_values.h"
#include "config/yaml_lookup.h"

namespace {

/// True when a text was read into `out`; `result` is what to return otherwise.
bool ReadText(const ParseInput& input, const std::string& key, std::string& out, TnResult& result)
{
    result = CommonGetString(input, key, out);
    return result.code == 0 && result.message != YAML_WITHOUT_OPT;
}

TnResult PatternsOfFile(const YAML::Node& root, const std::string& key, std::unordered_set<std::string>& out)
{
    const std::optional<YAML::Node> found = yaml_lookup::Child(root, key);
    if (!found) {
        return reader_messages::NotFound(key);
    }
    const YAML::Node& list = *found;
    if (!list.IsSequence()) {
        return reader_messages::NotASequence(key);
    }
    if (list.size() == 0) {
        return reader_messages::ParamsNotSet(key);
    }
    ListBudget budget(key);
    if (TnResult result = budget.TakeItems(list.size()); result.code != 0) {
        return result;
    }
    std::unordered_set<std::string> patterns;
    for (const auto& item : list) {
        std::string text;
        if (!yaml_lookup::Text(item, text)) {
            return reader_messages::NotASequence(key);
        }
        if (TnResult result = budget.TakeText(text); result.code != 0) {
            return result;
        }
        patterns.insert(std::move(text));
    }
    out = std::move(patterns);
    return {};
}

}  // namespace

std::string GetStageLog(ParseStage stage)
{
    switch (stage) {
        case ParseStage::CMDLINE:
            return "cmdline";
        case ParseStage::YAML:
            return TARNIX_YAML;
    }
    return "unknown";
}

bool CheckYamlNodeExist(const YAML::Node& node, const std::string& key)
{
    return yaml_lookup::Child(node, key).has_value();
}

TnResult CommonGetString(const ParseInput& input, const std::string& key, std::string& out)
{
    if (input.stage == ParseStage::CMDLINE) {
        out = input.value;
    } else if (input.stage == ParseStage::YAML) {
        const std::optional<YAML::Node> value = yaml_lookup::Child(input.node, key);
        if (!value) {
            return {0, YAML_WITHOUT_OPT};
        }
        if (!value->IsScalar()) {
            return reader_messages::NotAScalar(key);
        }
        out = value->Scalar();
    }
    return {};
}

TnResult CommonParseUint(const ParseInput& input, const std::string& key, std::uint32_t& out)
{
    std::string text;
    TnResult result;
    if (!ReadText(input, key, text, result)) {
        return result;
    }
    return text_values::ToUint(input.stage, key.c_str(), text, out);
}

TnResult CommonParseBool(const ParseInput& input, const std::string& key, bool& out)
{
    if (input.stage == ParseStage::CMDLINE) {
        out = true;
        return {};
    }
    if (input.stage == ParseStage::YAML) {
        return CommonParseEnum(input, key, g_boolMap, out);
    }
    return reader_messages::UnknownStage();
}

template <typename T>
TnResult CommonParseEnum(const ParseInput& input, const std::string& key, const std::map<T, std::string>& map,
                         T& out)
{
    std::string text;
    TnResult result;
    if (!ReadText(input, key, text, result)) {
        return result;
    }
    return text_values::ToEnum(input.stage, key.c_str(), text, map, out);
}

template TnResult CommonParseEnum(const ParseInput&, const std::string&, const std::map<bool, std::string>&,
                                  bool&);
template TnResult CommonParseEnum(const ParseInput&, const std::string&,
                                  const std::map<SysLogLevel, std::string>&, SysLogLevel&);
template TnResult CommonParseEnum(const ParseInput&, const std::string&,
                                  const std::map<TuneMode, std::string>&, TuneMode&);
template TnResult CommonParseEnum(const ParseInput&, const std::string&,
                                  const std::map<HelpType, std::string>&, HelpType&);
template TnResult CommonParseEnum(const ParseInput&, const std::string&,
                                  const std::map<LoadWay, std::string>&, LoadWay&);
template TnResult CommonParseEnum(const ParseInput&, const std::string&, const std::map<SmtAlg, std::string>&,
                                  SmtAlg&);
template TnResult CommonParseEnum(const ParseInput&, const std::string&, const std::map<IrqAlg, std::string>&,
                                  IrqAlg&);
template TnResult CommonParseEnum(const ParseInput&, const std::string&, const std::map<Policy, std::string>&,
                                  Policy&);
template TnResult CommonParseEnum(const ParseInput&, const std::string&,
                                  const std::map<ProcAlg, std::string>&, ProcAlg&);
template TnResult CommonParseEnum(const ParseInput&, const std::string&,
                                  const std::map<ExportType, std::string>&, ExportType&);

TnResult CommonParseRegexesSet(const ParseInput& input, const std::string& key,
                               std::unordered_set<std::string>& out)
{
    if (input.stage == ParseStage::YAML) {
        return PatternsOfFile(input.node, key, out);
    }
    if (input.stage == ParseStage::CMDLINE) {
        const std::vector<std::string> pieces = ParseRegexesVector(input.value);
        if (!pieces.empty()) {
            out = std::unordered_set<std::string>(pieces.begin(), pieces.end());
            return {};
        }
    }
    return reader_messages::WithoutValidValue(key);
}

std::vector<std::string> ParseRegexesVector(const std::string& text)
{
    std::vector<std::string> pieces;
    std::string piece;
    bool literal = false;
    for (const char c : text) {
        if (literal) {
            piece += c;
            literal = false;
        } else if (c == '\\') {
            literal = true;
        } else if (c != ',') {
            piece += c;
        } else if (!piece.empty()) {
            pieces.push_back(std::move(piece));
            piece.clear();
        }
    }
    if (!piece.empty()) {
        pieces.push_back(std::move(piece));
    }
    return pieces;
}
