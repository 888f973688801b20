// SPDX-License-Identifier: MIT

#include "common/file_probe.h"

#include <sys/stat.h>

#include "common/pseudo_file.h"

namespace {

/// The type bits of what `path` names, 0 when there is nothing. A NUL inside would silently name another
/// file.
mode_t FileType(const std::string& path)
{
    struct stat info {};
    if (path.find('\0') != std::string::npos || stat(path.c_str(), &info) != 0) {
        return 0;
    }
    return info.st_mode & S_IFMT;
}

}  // namespace

bool IsDirectoryExists(const std::string& path)
{
    return FileType(path) == S_IFDIR;
}

bool FileExists(const std::string& path)
{
    return FileType(path) == S_IFREG;
}

bool ReadStrFromFile(const std::string& path, std::string& out)
{
    return path.find('\0') == std::string::npos && probe::ReadFirstWord(path.c_str(), out);
}
