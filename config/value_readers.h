// SPDX-License-Identifier: MIT

#ifndef CONFIG_VALUE_READERS_H
#define CONFIG_VALUE_READERS_H

#include <cstdint>

#include <map>
#include <string>
#include <unordered_set>
#include <vector>

#include <yaml-cpp/yaml.h>

#include "common/export.h"
#include "config/conf_enums.h"
#include "config/parse_input.h"
#include "config/tn_result.h"

// What the parse functions of the options are made of. Each reads the value of `key` from the stage that the
// input names, answers code 0 or 1, and leaves `out` alone unless it stored a value. A scalar key that the
// file does not have is code 0 with the message YAML_WITHOUT_OPT. Nothing is thrown but std::bad_alloc. The
// node is only read; one thread at a time may use nodes of one file.

/// The stage as messages name it: "cmdline", the path of the configuration file, or "unknown".
SCENARIO_NUMA_EXPORT std::string GetStageLog(ParseStage stage);

/// True when `node` is a mapping that has `key`.
SCENARIO_NUMA_EXPORT bool CheckYamlNodeExist(const YAML::Node& node, const std::string& key);

/// The value as text. In the file it has to be a scalar. A stage that is neither leaves `out` alone and
/// succeeds.
SCENARIO_NUMA_EXPORT TnResult CommonGetString(const ParseInput& input, const std::string& key,
                                              std::string& out);

/// Strict decimal, 0 to 4294967295.
SCENARIO_NUMA_EXPORT TnResult CommonParseUint(const ParseInput& input, const std::string& key,
                                              std::uint32_t& out);

/// On the command line the option's presence means true; in the file "true" or "false". A stage that is
/// neither is code 0 with "unknown stage".
SCENARIO_NUMA_EXPORT TnResult CommonParseBool(const ParseInput& input, const std::string& key, bool& out);

/// The value of `map` whose text is exactly the text read.
template <typename T>
SCENARIO_NUMA_EXPORT TnResult CommonParseEnum(const ParseInput& input, const std::string& key,
                                              const std::map<T, std::string>& map, T& out);

extern template TnResult CommonParseEnum(const ParseInput&, const std::string&,
                                         const std::map<bool, std::string>&, bool&);
extern template TnResult CommonParseEnum(const ParseInput&, const std::string&,
                                         const std::map<SysLogLevel, std::string>&, SysLogLevel&);
extern template TnResult CommonParseEnum(const ParseInput&, const std::string&,
                                         const std::map<TuneMode, std::string>&, TuneMode&);
extern template TnResult CommonParseEnum(const ParseInput&, const std::string&,
                                         const std::map<HelpType, std::string>&, HelpType&);
extern template TnResult CommonParseEnum(const ParseInput&, const std::string&,
                                         const std::map<LoadWay, std::string>&, LoadWay&);
extern template TnResult CommonParseEnum(const ParseInput&, const std::string&,
                                         const std::map<SmtAlg, std::string>&, SmtAlg&);
extern template TnResult CommonParseEnum(const ParseInput&, const std::string&,
                                         const std::map<IrqAlg, std::string>&, IrqAlg&);
extern template TnResult CommonParseEnum(const ParseInput&, const std::string&,
                                         const std::map<Policy, std::string>&, Policy&);
extern template TnResult CommonParseEnum(const ParseInput&, const std::string&,
                                         const std::map<ProcAlg, std::string>&, ProcAlg&);
extern template TnResult CommonParseEnum(const ParseInput&, const std::string&,
                                         const std::map<ExportType, std::string>&, ExportType&);

/// A list of patterns, which replaces `out`: on the command line split by ParseRegexesVector, in the file a
/// sequence of at most 65536 texts. An absent or empty list in the file is code 0 with a message that says
/// so.
SCENARIO_NUMA_EXPORT TnResult CommonParseRegexesSet(const ParseInput& input, const std::string& key,
                                                    std::unordered_set<std::string>& out);

/// Splits at commas. A backslash makes the next character literal and is dropped itself, so that "\," is a
/// comma and "\d" the letter d; empty pieces are left out.
SCENARIO_NUMA_EXPORT std::vector<std::string> ParseRegexesVector(const std::string& text);

#endif  // CONFIG_VALUE_READERS_H
