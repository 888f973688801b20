// SPDX-License-Identifier: MIT

#ifndef TESTS_FUZZ_MEMORY_FILE_H
#define TESTS_FUZZ_MEMORY_FILE_H

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>

#include <string>
#include <string_view>

#include "tests/fuzz/require.h"

namespace fuzz {

/// A regular file without a disk, for what can only be read through a path. One for the life of a target.
class MemoryFile {
public:
    MemoryFile() : fd(memfd_create("fuzz", MFD_CLOEXEC)), path("/proc/self/fd/" + std::to_string(fd))
    {
        Require(fd >= 0, "a file in memory can be had");
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    ~MemoryFile() { close(fd); }

    /// Makes `content` all that the file holds.
    void Set(std::string_view content)
    {
        const bool written =
            pwrite(fd, content.data(), content.size(), 0) == static_cast<ssize_t>(content.size());
        Require(
            written && (content.size() >= length || ftruncate(fd, static_cast<off_t>(content.size())) == 0),
            "the file in memory takes the input");
        length = content.size();
    }

    /// Opens anew, from the beginning.
    const std::string& Path() const { return path; }

private:
    int fd;
    std::string path;
    std::size_t length = 0;
};

}  // namespace fuzz

#endif  // TESTS_FUZZ_MEMORY_FILE_H
