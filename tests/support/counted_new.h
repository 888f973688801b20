// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_COUNTED_NEW_H
#define TESTS_SUPPORT_COUNTED_NEW_H

#include <cstddef>

namespace support {

/// How often the program has called operator new so far. Needs counted_new.cpp among the program's own
/// sources.
size_t Allocations() noexcept;

/// Lets the next `count` calls of operator new succeed and all further ones raise std::bad_alloc, until
/// AllowAllocations. For one thread.
void FailAllocationsAfter(size_t count) noexcept;
void AllowAllocations() noexcept;

}  // namespace support

#endif  // TESTS_SUPPORT_COUNTED_NEW_H
