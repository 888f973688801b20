// SPDX-License-Identifier: MIT

#ifndef CONFIG_YAML_LOOKUP_H
#define CONFIG_YAML_LOOKUP_H

#include <optional>
#include <string>

#include <yaml-cpp/yaml.h>

/// Reading nodes without the traps: nothing here adds to a document, and no shape of a node throws.
namespace yaml_lookup {

/// The value of `key`; empty when `node` is no mapping or does not have it. Of equal keys the first counts.
std::optional<YAML::Node> Child(const YAML::Node& node, const std::string& key);

/// The text of a node as yaml-cpp converts it: a scalar, and a null if the installed version takes one. False
/// for every other shape.
bool Text(const YAML::Node& node, std::string& out);

}  // namespace yaml_lookup

#endif  // CONFIG_YAML_LOOKUP_H
