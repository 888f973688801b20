// SPDX-License-Identifier: MIT

#ifndef CONFIG_CONFIG_FILE_H
#define CONFIG_CONFIG_FILE_H

#include <cstddef>

#include <string>

#include <yaml-cpp/yaml.h>

#include "config/tn_result.h"

/// Reading the configuration file, whatever lies under its name.
namespace config_file {

constexpr std::size_t MAX_BYTES = 1U << 20U;

/// Scalars, lists and mappings of a file, each mention of an alias counted once. A document takes about half
/// a KiB for each: a file of nothing but brackets would take hundreds of MiB.
constexpr std::size_t MAX_NODES = 300000;

/// Parses the file into `root`, a document of its own that shares nothing with the one before. Code 1 with
/// "YAML loading error: " and the reason for a file that cannot be opened (yaml-cpp's own text), is no
/// regular file, is larger than MAX_BYTES, has more than MAX_NODES, or is no YAML (yaml-cpp's own text);
/// `root` is untouched then. Never waits for a FIFO or a device.
TnResult Load(const std::string& path, YAML::Node& root);

/// The part of Load after the file was read: `text` of at most MAX_BYTES into `root`.
TnResult Parse(const std::string& text, YAML::Node& root);

}  // namespace config_file

#endif  // CONFIG_CONFIG_FILE_H
