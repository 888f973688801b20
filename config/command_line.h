// SPDX-License-Identifier: MIT

#ifndef CONFIG_COMMAND_LINE_H
#define CONFIG_COMMAND_LINE_H

#include <functional>
#include <string>

#include "config/option_info.h"
#include "config/option_map.h"
#include "config/tn_result.h"

/// The walk over a command line, the same for the tool and the viewer.
namespace command_line {

/// Stores one option's value; the text is its argument, empty when it has none.
using Apply = std::function<TnResult(const Option& opt, const std::string& argument)>;

/// Calls `apply` for each option in turn until one fails, and fails for options that `map` does not have,
/// options given twice, and words left over. A null `argv` is an empty command line; a null pointer in it
/// ends it. Leaves getopt's globals as ConfCtl says and the caller's array alone.
TnResult Parse(int argc, char* const* argv, const OptionInfo& info, const OptionMap& map, const Apply& apply);

}  // namespace command_line

#endif  // CONFIG_COMMAND_LINE_H
