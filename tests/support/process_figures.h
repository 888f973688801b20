// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_PROCESS_FIGURES_H
#define TESTS_SUPPORT_PROCESS_FIGURES_H

#include <cstddef>

#include <optional>
#include <string>

namespace support {

/// What this process holds at one moment.
struct ProcessFigures {
    std::size_t threads = 0;
    std::size_t descriptors = 0;
    std::size_t mappings = 0;  ///< lines of /proc/self/maps
    /// Allocated and not released. Empty where a sanitizer's allocator is in charge: with clang's it grows by
    /// the loader's own records of the two libraries that come and go, whatever is in them.
    std::optional<std::size_t> heapBytes;
};

ProcessFigures ReadProcessFigures();

/// True when a line of /proc/self/maps names `path`.
bool IsMapped(const std::string& path);

}  // namespace support

#endif  // TESTS_SUPPORT_PROCESS_FIGURES_H
