// SPDX-License-Identifier: MIT

#ifndef COMMON_FILE_PROBE_H
#define COMMON_FILE_PROBE_H

#include <string>

#include "common/export.h"

/// True if `path` is a directory, links followed. Any thread.
SCENARIO_NUMA_EXPORT bool IsDirectoryExists(const std::string& path);

/// True if `path` is a regular file, links followed; a directory gives false. Any thread.
SCENARIO_NUMA_EXPORT bool FileExists(const std::string& path);

/// The first word of a file, delimited by white space. False, with `out` untouched, when the file cannot be
/// read or holds no word in its first 64 KiB. Never waits: a FIFO without data gives false. Any thread.
SCENARIO_NUMA_EXPORT bool ReadStrFromFile(const std::string& path, std::string& out);

#endif  // COMMON_FILE_PROBE_H
