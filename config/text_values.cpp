// SPDX-License-Identifier: MIT

#include "config/text_values.h"

#include "common/string_util.h"

namespace text_values {

TnResult ToUint(ParseStage stage, const char* key, const std::string& text, std::uint32_t& out)
{
    if (!StringToUint(text, out)) {
        return reader_messages::NotAnUnsigned(stage, key, text);
    }
    return {};
}

}  // namespace text_values
