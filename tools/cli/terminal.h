// SPDX-License-Identifier: MIT

#ifndef TOOLS_CLI_TERMINAL_H
#define TOOLS_CLI_TERMINAL_H

#include <functional>
#include <string_view>

namespace cli {

enum class ColorChoice { AUTO, ALWAYS, NEVER };

/// A variable of the environment; null when it is not set.
using Environment = std::function<const char*(const char* name)>;

/// The environment of this process.
const char* ProcessEnvironment(const char* name);

/// The rule for colour: --color first; otherwise colour on a terminal unless NO_COLOR is set and not empty or
/// TERM is "dumb".
bool UseColor(ColorChoice choice, bool isTerminal, const Environment& environment);

/// True when lines can be redrawn in place: a terminal that is not "dumb".
bool CanRedraw(bool isTerminal, const Environment& environment);

/// True when the locale's character set is UTF-8: LC_ALL, LC_CTYPE and LANG, the first that is not empty.
bool IsUtf8Locale(const Environment& environment);

struct TerminalSize {
    int columns = 80;
    int rows = 24;
};

/// Size of the terminal behind a descriptor, at this moment; 80 by 24 when it does not say.
TerminalSize SizeOfTerminal(int descriptor);

}  // namespace cli

#endif  // TOOLS_CLI_TERMINAL_H
