// SPDX-License-Identifier: MIT

#ifndef CONFIG_OPTION_MAP_H
#define CONFIG_OPTION_MAP_H

#include <unordered_map>
#include <vector>

#include "config/option.h"
#include "config/option_info.h"
#include "config/tn_result.h"

/// Options by what getopt returns for them.
using OptionMap = std::unordered_map<int, Option>;

/// Puts the options that have `mode` into `map`, in order and each checked; `type` tells which parse function
/// they need. The first fault is the result, and what came before it stays in the map.
TnResult BuildOptionMap(const std::vector<Option>& options, OptAttr mode, ConfigType type, OptionMap& map);

#endif  // CONFIG_OPTION_MAP_H
