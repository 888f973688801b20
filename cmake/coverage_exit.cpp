// SPDX-License-Identifier: MIT
//
// Coverage builds only: a process that ends with _exit, or by a signal that it raises itself, writes its
// counts first. The linker puts these in the place of the C library's (--wrap), in every program and library
// that is built.

extern "C" {
#include <gcov.h>
}

// The linker fixes the names.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
[[noreturn]] void __real__exit(int status);
int __real_raise(int number);

[[noreturn]] void __wrap__exit(int status)
{
    __gcov_dump();
    __real__exit(status);
}

int __wrap_raise(int number)
{
    __gcov_dump();
    __gcov_reset();
    return __real_raise(number);
}
}
// NOLINTEND(bugprone-reserved-identifier)
