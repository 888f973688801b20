// SPDX-License-Identifier: MIT

#ifndef CONFIG_PROCESS_ENTRY_H
#define CONFIG_PROCESS_ENTRY_H

#include <string>

#include <yaml-cpp/yaml.h>

#include "config/conf.h"
#include "config/list_budget.h"
#include "config/parse_input.h"
#include "config/tn_result.h"

/// One entry of the key "process".
namespace process_entry {

/// Reads `node`, without the entry's place among those of its name, in one pass over its keys; keys that an
/// entry does not have leave `conf` as it is. Takes keys and texts from `budget`. Code 1 with the reason at
/// the first fault; a node that is no mapping has no name.
TnResult Read(ParseStage stage, const YAML::Node& node, ListBudget& budget, std::string& name,
              ProcConf& conf);

}  // namespace process_entry

#endif  // CONFIG_PROCESS_ENTRY_H
