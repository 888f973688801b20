// SPDX-License-Identifier: MIT

#include "config/yaml_lookup.h"

namespace yaml_lookup {

std::optional<YAML::Node> Child(const YAML::Node& node, const std::string& key)
{
    if (!node.IsDefined() || !node.IsMap()) {
        return std::nullopt;
    }
    YAML::Node value = node[key];
    if (!value.IsDefined()) {
        return std::nullopt;
    }
    return value;
}

bool Text(const YAML::Node& node, std::string& out)
{
    if (node.IsScalar()) {
        out = node.Scalar();
        return true;
    }
    try {
        out = node.as<std::string>();
        return true;
    } catch (const YAML::Exception&) {
        return false;
    }
}

}  // namespace yaml_lookup
