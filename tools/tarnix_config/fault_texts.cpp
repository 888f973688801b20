// SPDX-License-Identifier: MIT

#include "tools/tarnix_config/fault_texts.h"

#include "common/escape_control.h"
#include "config/conf_enums.h"

namespace tarnix_config::fault_texts {
namespace {

using runtime::EscapeControl;

std::string Suggestion(const std::string& nearest)
{
    return nearest.empty() ? std::string() : ", did you mean '" + nearest + "'?";
}

}  // namespace

std::string FromLibrary(const std::string& message)
{
    const std::string installed = TARNIX_YAML + " error: ";
    const std::size_t begin = message.rfind(installed, 0) == 0 ? installed.size() : 0;
    std::string text = message.substr(begin);
    text.erase(text.find_last_not_of('\n') + 1);
    return EscapeControl(text);
}

std::string NotAMapping()
{
    return "the file is no mapping of keys to values: nothing in it is read";
}

std::string KeyIsNoText()
{
    return "a key has to be a text: this one is not read";
}

std::string UnknownKey(const std::string& key, const std::string& nearest)
{
    return "unknown key '" + EscapeControl(key) + "' is not read" + Suggestion(nearest);
}

std::string UnknownKeyOfProcess(const std::string& key, const std::string& nearest)
{
    return "unknown key '" + EscapeControl(key) + "' of a process entry is not read" + Suggestion(nearest);
}

std::string RepeatedKey(const std::string& key, int firstLine)
{
    return "key '" + EscapeControl(key) + "' is given again: the one in line " + std::to_string(firstLine) +
           " counts, this one is not read";
}

std::string OnlyOnCommandLine(const std::string& key)
{
    return "key '" + EscapeControl(key) + "' is not read from the file: it is an option of the command line";
}

std::string PatternNeverMatches(const std::string& key, const std::string& pattern, const std::string& reason)
{
    return key + ": pattern '" + EscapeControl(pattern) + "' never matches: " + EscapeControl(reason);
}

}  // namespace tarnix_config::fault_texts
