// SPDX-License-Identifier: MIT

#ifndef CONFIG_PARSE_INPUT_H
#define CONFIG_PARSE_INPUT_H

#include <cstdint>

#include <string>

#include <yaml-cpp/yaml.h>

/// Where a value comes from.
enum class ParseStage : std::int32_t { CMDLINE = 0, YAML = 1 };

/// What every parse function of an option receives.
struct ParseInput {
    ParseStage stage = ParseStage::CMDLINE;
    YAML::Node node;    ///< stage YAML: the node that holds the keys; CMDLINE: the root of the loaded file
    std::string value;  ///< stage CMDLINE: the option's argument, empty when it has none
};

#endif  // CONFIG_PARSE_INPUT_H
