// SPDX-License-Identifier: MIT

#ifndef HOST_TEXT_FILE_H
#define HOST_TEXT_FILE_H

#include <cstddef>

#include <string>
#include <string_view>
#include <vector>

namespace host {

/// Largest pseudo-file that is read. The kernel writes at most one page, 4 KiB to 64 KiB, into an attribute.
constexpr std::size_t TEXT_FILE_LIMIT = 65536;

/// Most entries that are taken from one directory.
constexpr std::size_t DIRECTORY_LIMIT = 4096;

/// A small text file as it was read, or why it was not.
struct TextFile {
    std::string text;     ///< the whole content, byte for byte
    int errorNumber = 0;  ///< errno of the failure; EFBIG above the limit, EINVAL for what is no regular file
    std::string error;    ///< one line with the path; empty on success
};

/// Reads a regular file of at most `limit` bytes. Never waits: a FIFO, a device or a socket is refused, and
/// so is a symbolic link as the last part of the path, since attributes of the kernel are never links.
TextFile ReadTextFile(const std::string& path, std::size_t limit = TEXT_FILE_LIMIT);

/// The text without blanks, tabs and line breaks at both ends.
std::string_view TrimText(std::string_view text);

/// Names in a directory, or why there are none.
struct DirectoryListing {
    std::vector<std::string> names;  ///< natural order, without those that begin with a dot
    bool cut = false;                ///< there were more than the limit; the rest was not looked at
    int errorNumber = 0;
    std::string error;  ///< one line with the path; empty on success
};

/// Lists a directory, entries of every kind. The path itself may be a symbolic link.
DirectoryListing ListDirectory(const std::string& path, std::size_t limit = DIRECTORY_LIMIT);

/// Order for people: runs of digits compare as numbers, so that pmu_2 comes before pmu_10. A strict total
/// order: names that differ only in leading zeros compare byte by byte.
bool NaturalLess(std::string_view left, std::string_view right);

/// The system's text for an errno value, for example "No such file or directory". Safe on every thread.
std::string ErrorText(int errorNumber);

}  // namespace host

#endif  // HOST_TEXT_FILE_H
