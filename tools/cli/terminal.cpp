// SPDX-License-Identifier: MIT

#include "tools/cli/terminal.h"

#include <stdlib.h>
#include <sys/ioctl.h>

#include <string>

namespace cli {
namespace {

std::string_view Value(const Environment& environment, const char* name)
{
    const char* const value = environment(name);
    return value == nullptr ? std::string_view() : std::string_view(value);
}

}  // namespace

const char* ProcessEnvironment(const char* name)
{
    // Nothing in this program changes the environment.
    return getenv(name);  // NOLINT(concurrency-mt-unsafe)
}

bool UseColor(ColorChoice choice, bool isTerminal, const Environment& environment)
{
    if (choice != ColorChoice::AUTO) {
        return choice == ColorChoice::ALWAYS;
    }
    return CanRedraw(isTerminal, environment) && Value(environment, "NO_COLOR").empty();
}

bool CanRedraw(bool isTerminal, const Environment& environment)
{
    return isTerminal && Value(environment, "TERM") != "dumb";
}

bool IsUtf8Locale(const Environment& environment)
{
    std::string_view locale;
    for (const char* const name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        locale = Value(environment, name);
        if (!locale.empty()) {
            break;
        }
    }
    std::string charset;
    const std::size_t dot = locale.find('.');
    for (const char c : dot == std::string_view::npos ? std::string_view() : locale.substr(dot + 1)) {
        if (c == '@') {
            break;
        }
        if (c != '-') {
            charset += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        }
    }
    return charset == "utf8";
}

TerminalSize SizeOfTerminal(int descriptor)
{
    winsize size{};
    TerminalSize result;
    if (ioctl(descriptor, TIOCGWINSZ, &size) == 0) {
        result.columns = size.ws_col > 0 ? size.ws_col : result.columns;
        result.rows = size.ws_row > 0 ? size.ws_row : result.rows;
    }
    return result;
}

}  // namespace cli
