// SPDX-License-Identifier: MIT

// Loaded into a program before all else: puts one fault into it, from the first line of main on. What happens
// before, in the dynamic linker and in constructors of globals, has nobody who could answer for it.
//
// FAULT="memory NTH WHICH": request NTH for memory fails; WHICH is "one", or "all" for the later ones, too.
//
// FAULT="call NUMBER NTH WHICH ERRNO": the same of a system call. FAULT="none" counts calls and fails none.
//
// FAULT_END=MILLISECONDS: SIGTERM comes so long after the program has set what it does about it.
//
// FAULT_COUNT=FILE: gets at the end how many faults there were, how many of them were writes to standard
// error, how many requests for memory, and each call.

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "tests/faults/swept_calls.h"
#include "tests/support/failing_calls.h"
#include "tests/support/failing_memory.h"

namespace {

using MainFunction = int (*)(int, char**, char**);

MainFunction programMain = nullptr;

void Count()
{
    const std::size_t failed = support::AllowCalls() + support::AllowMemory();
    const char* const name = getenv("FAULT_COUNT");
    const int file = name == nullptr ? -1 : open(name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (file < 0) {
        return;
    }
    dprintf(file, "%zu %zu %zu\n", failed, support::FailedErrorWrites(), support::MemoryRequests());
    for (const faults::SweptCall& kind : faults::SweptCallTable()) {
        dprintf(file, "%s %ld %zu\n", kind.name, kind.number, support::CallsSeen(kind.number));
    }
    close(file);
}

void Prepare(const char* text)
{
    char which[8] = "one";
    std::size_t nth = 0;
    support::CallFault fault;
    const int given = sscanf(text, "call %ld %zu %7s %d", &fault.call, &fault.nth, which, &fault.error);
    fault.andLater = strcmp(which, "all") == 0;
    fault.everyThread = true;
    if (given == 4 || strcmp(text, "none") == 0) {
        if (support::FilterCalls(faults::SweptCalls()) != 0) {
            _exit(77);
        }
    }
    atexit(Count);
    if (given == 4 || strcmp(text, "none") == 0) {
        support::FailCall(fault);
    }
    if (sscanf(text, "memory %zu %7s", &nth, which) == 2) {
        support::FailMemory(nth,
                            strcmp(which, "all") == 0 ? support::Failing::ALL_FROM : support::Failing::ONE);
    } else {
        support::FailMemory(0, support::Failing::ONE);
    }
}

void EndAfter(long milliseconds)
{
    static bool begun = false;
    if (begun) {
        return;
    }
    begun = true;
    sigevent event{};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGTERM;
    timer_t timer{};
    itimerspec end{};
    end.it_value.tv_sec = milliseconds / 1000;
    end.it_value.tv_nsec = milliseconds % 1000 * 1000000;
    if (timer_create(CLOCK_MONOTONIC, &event, &timer) != 0 || timer_settime(timer, 0, &end, nullptr) != 0) {
        _exit(99);
    }
}

int Main(int argc, char** argv, char** environment)
{
    unsetenv("LD_PRELOAD");  // not into the programs that this one starts
    if (const char* const text = getenv("FAULT"); text != nullptr) {
        Prepare(text);
    }
    return programMain(argc, argv, environment);
}

}  // namespace

// A program that has set what it does about SIGTERM can be sent one.
extern "C" __attribute__((visibility("default"))) int sigaction(int number, const struct sigaction* action,
                                                                struct sigaction* before) noexcept
{
    using Function = int (*)(int, const struct sigaction*, struct sigaction*);
    static const auto REAL = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "sigaction"));
    const int result = REAL(number, action, before);
    if (const char* const text = getenv("FAULT_END");
        number == SIGTERM && action != nullptr && text != nullptr) {
        EndAfter(atol(text));
    }
    return result;
}

// The constants of a plug-in are built while it is loaded, where an exception has no way out: std::terminate.
// And the dynamic linker takes an open that was interrupted for one that failed.
extern "C" __attribute__((visibility("default"))) void* dlopen(const char* file, int mode) noexcept
{
    using Open = void* (*)(const char*, int);
    static const auto OPEN = reinterpret_cast<Open>(dlsym(RTLD_NEXT, "dlopen"));
    support::PauseMemory(true);
    support::PauseCalls(true);
    void* const handle = OPEN(file, mode);
    support::PauseCalls(false);
    support::PauseMemory(false);
    return handle;
}

#if defined(WITH_COVERAGE)
// A library that is unloaded writes down its counts.
extern "C" __attribute__((visibility("default"))) int dlclose(void* handle) noexcept
{
    using Close = int (*)(void*);
    static const auto CLOSE = reinterpret_cast<Close>(dlsym(RTLD_NEXT, "dlclose"));
    support::PauseMemory(true);
    support::PauseCalls(true);
    const int result = CLOSE(handle);
    support::PauseCalls(false);
    support::PauseMemory(false);
    return result;
}
#endif

// The C library's own start of main, with ours in between.
extern "C" __attribute__((visibility("default"))) int __libc_start_main(MainFunction main, int argc,
                                                                        char** argv, void (*init)(),
                                                                        void (*fini)(), void (*linkerFini)(),
                                                                        void* stackEnd)
{
    using Start = int (*)(MainFunction, int, char**, void (*)(), void (*)(), void (*)(), void*);
    const auto start = reinterpret_cast<Start>(dlsym(RTLD_NEXT, "__libc_start_main"));
    programMain = main;
    return start(Main, argc, argv, init, fini, linkerFini, stackEnd);
}
