// SPDX-License-Identifier: MIT

#ifndef HOST_RECORDING_FILE_H
#define HOST_RECORDING_FILE_H

#include <cstdint>

#include <string>
#include <string_view>

namespace host {

/// A recording that was opened, or one line that says why it was not.
struct RecordingFile {
    std::string name;         ///< as messages call it
    int fd = -1;              ///< close-on-exec; the receiver closes it, unless it is standard input
    bool regular = false;     ///< a file, not something to wait for
    std::uint64_t bytes = 0;  ///< size of a regular file
    std::string error;
};

/// Opens a recording; "-" is standard input. Opening never waits: a FIFO opens before its writer does.
/// Directories, devices and terminals are refused.
RecordingFile OpenRecordingFile(const std::string& path);

/// One line about a file that is known by its first bytes and is no recording; empty when it may be one.
std::string OtherFormat(std::string_view file, std::string_view firstLine);

}  // namespace host

#endif  // HOST_RECORDING_FILE_H
