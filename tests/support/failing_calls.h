// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_FAILING_CALLS_H
#define TESTS_SUPPORT_FAILING_CALLS_H

#include <cstddef>
#include <vector>

/// System calls that fail on request, whoever in the process makes them, the C library's own included.
namespace support {

/// What happens to a call.
struct CallFault {
    long call = -1;            ///< SYS_...; -1: nothing fails
    std::size_t nth = 1;       ///< counted from 1
    bool andLater = false;     ///< the later ones of the kind, too
    int error = 0;             ///< errno; 0: a read or write of one byte in place of all
    bool everyThread = false;  ///< not only the one that calls FailCall
};

/// Filters the calls for the rest of this process's life, which a child should spend on it. Returns 0, or the
/// errno with which the system refuses.
int FilterCalls(const std::vector<long>& calls);

/// Counts the calls from now on and fails one. For when no other thread makes calls. A close that fails
/// closes all the same, as the kernel's does.
void FailCall(const CallFault& fault) noexcept;

/// Ends that. How many calls have failed.
std::size_t AllowCalls() noexcept;

/// Calls between the two are neither failed nor counted.
void PauseCalls(bool pause) noexcept;

/// How many calls of that kind there were between FailCall and AllowCalls.
std::size_t CallsSeen(long call) noexcept;

/// How many of those that failed were to write to standard error.
std::size_t FailedErrorWrites() noexcept;

/// How many calls closed a descriptor that was not open: one that was closed twice, perhaps.
std::size_t BadCloses() noexcept;

}  // namespace support

#endif  // TESTS_SUPPORT_FAILING_CALLS_H
