// SPDX-License-Identifier: MIT

#include "tests/support/process_figures.h"

#include <malloc.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/support/sanitized.h"

namespace support {
namespace {

std::size_t EntriesOf(const char* directory)
{
    const std::filesystem::directory_iterator entries(directory);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

std::optional<std::size_t> HeapBytes()
{
#if TESTS_SANITIZED
    return std::nullopt;
#else
    const struct mallinfo2 figures = mallinfo2();
    return figures.uordblks + figures.hblkhd;
#endif
}

}  // namespace

ProcessFigures ReadProcessFigures()
{
    ProcessFigures figures;
    figures.threads = EntriesOf("/proc/self/task");
    figures.descriptors = EntriesOf("/proc/self/fd");
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        ++figures.mappings;
    }
    maps.close();
    figures.heapBytes = HeapBytes();
    return figures;
}

bool IsMapped(const std::string& path)
{
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find(path) != std::string::npos) {
            return true;
        }
    }
    return false;
}

}  // namespace support
