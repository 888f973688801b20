// SPDX-License-Identifier: MIT

#include "tests/faults/swept_calls.h"

#include <errno.h>
#include <sys/syscall.h>

namespace faults {

const std::vector<SweptCall>& SweptCallTable()
{
    static const std::vector<SweptCall> TABLE = {
        {"openat", SYS_openat, {EIO, ENOSPC, EINTR, EMFILE, EACCES}},
        {"read", SYS_read, {EIO, EINTR, SHORT}},
        {"write", SYS_write, {EIO, ENOSPC, EINTR, SHORT}},
        {"writev", SYS_writev, {EIO, ENOSPC, EINTR, SHORT}},
        {"close", SYS_close, {EIO, ENOSPC, EINTR}},
        {"newfstatat", SYS_newfstatat, {EIO, EACCES}},
        {"fcntl", SYS_fcntl, {EIO, EACCES}},
        {"prlimit64", SYS_prlimit64, {EIO, EACCES}},
        {"renameat", SYS_renameat, {EIO, ENOSPC, EACCES}},
        {"unlinkat", SYS_unlinkat, {EIO, EACCES}},
        {"fstat", SYS_fstat, {EIO, EACCES}},
        {"fsync", SYS_fsync, {EIO, ENOSPC, EINTR}},
        {"lseek", SYS_lseek, {EIO}},
#ifdef SYS_rename
        {"open", SYS_open, {EIO, ENOSPC, EINTR, EMFILE, EACCES}},
        {"rename", SYS_rename, {EIO, ENOSPC, EACCES}},
        {"unlink", SYS_unlink, {EIO, EACCES}},
#endif
    };
    return TABLE;
}

std::vector<long> SweptCalls()
{
    std::vector<long> numbers;
    for (const SweptCall& kind : SweptCallTable()) {
        numbers.push_back(kind.number);
    }
    return numbers;
}

}  // namespace faults
