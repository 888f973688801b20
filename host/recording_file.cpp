// SPDX-License-Identifier: MIT

#include "host/recording_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include <utility>

#include "host/recording_fields.h"
#include "host/recording_messages.h"
#include "host/retried_open.h"

namespace host {
namespace {

/// What a file that cannot be replayed is; null for one that can.
const char* UnsuitableKind(mode_t mode, int fd)
{
    if (S_ISDIR(mode)) {
        return "a directory";
    }
    if (S_ISBLK(mode)) {
        return "a block device";
    }
    if (S_ISCHR(mode)) {
        return isatty(fd) == 1 ? "a terminal" : "a character device";
    }
    return nullptr;
}

RecordingFile Failure(RecordingFile file, std::string message)
{
    if (file.fd >= 0 && file.fd != STDIN_FILENO) {
        close(file.fd);
    }
    file.fd = -1;
    file.error = std::move(message);
    return file;
}

}  // namespace

RecordingFile OpenRecordingFile(const std::string& path)
{
    RecordingFile file;
    const bool standardInput = path == "-";
    file.name = standardInput ? "standard input" : path;
    file.fd = standardInput ? STDIN_FILENO : OpenRetrying(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    struct stat info = {};
    if (file.fd < 0 || fstat(file.fd, &info) != 0) {
        return Failure(file, CannotOpenMessage(file.name, errno));
    }
    const char* const unsuitable = UnsuitableKind(info.st_mode, file.fd);
    if (unsuitable != nullptr) {
        return Failure(file, NotAFileMessage(file.name, unsuitable));
    }
    file.regular = S_ISREG(info.st_mode);
    file.bytes = file.regular ? static_cast<std::uint64_t>(info.st_size) : 0;
    return file;
}

/// Message about a file that is known by its first bytes and is no recording; empty when it may be one.
std::string OtherFormat(std::string_view file, std::string_view firstLine)
{
    if (StartsWith(firstLine, "PERFILE2")) {
        return OtherFormatMessage(file, "a recording of perf record", "use perf stat instead");
    }
    for (const std::string_view magic : {"\x1f\x8b", "\xfd\x37zXZ", "BZh", "\x28\xb5\x2f\xfd"}) {
        if (StartsWith(firstLine, magic)) {
            return OtherFormatMessage(file, "compressed", "decompress it first");
        }
    }
    return {};
}

}  // namespace host
