// SPDX-License-Identifier: MIT

#ifndef TOOLS_TARNIX_CONFIG_KEY_FAULTS_H
#define TOOLS_TARNIX_CONFIG_KEY_FAULTS_H

#include <vector>

#include <yaml-cpp/yaml.h>

#include "config/option.h"
#include "tools/tarnix_config/fault.h"

namespace tarnix_config {

/// A fault at the place of a node.
Fault FaultAt(const YAML::Node& node, const std::string& text);

/// Unknown and repeated keys of the file and of its process entries, and keys that only the command line
/// takes.
std::vector<Fault> KeyFaults(const YAML::Node& root, const std::vector<Option>& options);

/// Patterns of the lists and process entries that never match.
std::vector<Fault> PatternFaults(const YAML::Node& root);

}  // namespace tarnix_config

#endif  // TOOLS_TARNIX_CONFIG_KEY_FAULTS_H
