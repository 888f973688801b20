// SPDX-License-Identifier: MIT

#ifndef CONFIG_TEXT_VALUES_H
#define CONFIG_TEXT_VALUES_H

#include <cstdint>

#include <map>
#include <string>
#include <vector>

#include "config/parse_input.h"
#include "config/reader_messages.h"
#include "config/tn_result.h"

/// A text that was read, as the value that it stands for. `stage` and `key` are for the message; `out` is
/// left alone on a failure.
namespace text_values {

/// Strict decimal, 0 to 4294967295.
TnResult ToUint(ParseStage stage, const char* key, const std::string& text, std::uint32_t& out);

/// The value of `map` whose text is exactly `text`.
template <typename T>
TnResult ToEnum(ParseStage stage, const char* key, const std::string& text,
                const std::map<T, std::string>& map, T& out)
{
    for (const auto& entry : map) {
        if (entry.second == text) {
            out = entry.first;
            return {};
        }
    }
    std::vector<std::string> names;
    for (const auto& entry : map) {
        names.push_back(entry.second);
    }
    return reader_messages::NotOneOf(stage, key, names, text);
}

}  // namespace text_values

#endif  // CONFIG_TEXT_VALUES_H
