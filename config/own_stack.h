// SPDX-License-Identifier: MIT

#ifndef CONFIG_OWN_STACK_H
#define CONFIG_OWN_STACK_H

#include <cstddef>

/// Work that recurses deeper than a caller's stack may allow: hosts run plug-ins on threads with small ones.
namespace own_stack {

constexpr std::size_t BYTES = 16U << 20U;  ///< reserved only; what is not touched takes no memory

/// Calls `work(argument)` on a thread with a stack of BYTES and waits for it; that thread takes no signals,
/// and the caller cannot be cancelled meanwhile. False when there is no such thread to be had: `work` was not
/// called then. `work` must not throw.
bool Run(void (*work)(void* argument), void* argument) noexcept;

}  // namespace own_stack

#endif  // CONFIG_OWN_STACK_H
