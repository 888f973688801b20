// SPDX-License-Identifier: MIT

#ifndef HOST_ESCAPE_H
#define HOST_ESCAPE_H

#include <cstddef>

#include <string>
#include <string_view>

namespace host {

/// Text from outside (file names, recordings, sysfs, what a plug-in says) as it may stand in a one-line
/// message: line breaks and tabs as \n and \t, a backslash doubled, every other control byte and every byte
/// that is no valid UTF-8 as \xNN. Control characters above ASCII, line and paragraph separators and
/// characters that reorder the line on a terminal are written byte by byte as \xNN too. Other UTF-8 stays.
///
/// At most `limit` bytes are returned; when the text needs more, "..." follows them. Neither an escape nor a
/// character is cut in two.
std::string EscapeText(std::string_view text, std::size_t limit = 256);

/// EscapeText of a NUL-terminated text that may be absent; a null pointer reads "(null)". Looks at no more
/// than `limit` + 1 bytes of it.
std::string EscapeText(const char* text, std::size_t limit = 256);

}  // namespace host

#endif  // HOST_ESCAPE_H
