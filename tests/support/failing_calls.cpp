// SPDX-License-Identifier: MIT

#include "tests/support/failing_calls.h"

#include <errno.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <stddef.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <ucontext.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>

// The one place from which filtered calls go through to the kernel.
extern "C" {
long support_raw_call(long number, long a, long b, long c, long d, long e, long f);
extern const char support_raw_call_return[];
}

#if defined(__x86_64__)
asm(R"(
    .text
    .globl support_raw_call
    .globl support_raw_call_return
    .type support_raw_call, @function
support_raw_call:
    mov %rdi, %rax
    mov %rsi, %rdi
    mov %rdx, %rsi
    mov %rcx, %rdx
    mov %r8, %r10
    mov %r9, %r8
    mov 8(%rsp), %r9
    syscall
support_raw_call_return:
    ret
    .size support_raw_call, . - support_raw_call
)");
#elif defined(__aarch64__)
asm(R"(
    .text
    .globl support_raw_call
    .globl support_raw_call_return
    .type support_raw_call, %function
support_raw_call:
    mov x8, x0
    mov x0, x1
    mov x1, x2
    mov x2, x3
    mov x3, x4
    mov x4, x5
    mov x5, x6
    svc #0
support_raw_call_return:
    ret
    .size support_raw_call, . - support_raw_call
)");
#endif

namespace {

constexpr long MOST_CALLS = 512;

using Counter = std::atomic<std::size_t>;
static_assert(Counter::is_always_lock_free, "used in a signal handler");

struct State {
    std::atomic<long> thread{0};  // 0: nothing is counted
    std::atomic<bool> paused{false};
    support::CallFault fault;  // written before `thread` is
    Counter seen[MOST_CALLS] = {};
    Counter failed{0};
    Counter failedErrors{0};
    Counter badCloses{0};
};

State state;

struct Arguments {
    long value[6];
};

Arguments ArgumentsOf(const ucontext_t& context)
{
#if defined(__x86_64__)
    const greg_t* const regs = context.uc_mcontext.gregs;
    return {{regs[REG_RDI], regs[REG_RSI], regs[REG_RDX], regs[REG_R10], regs[REG_R8], regs[REG_R9]}};
#else
    Arguments arguments{};
    for (int i = 0; i < 6; ++i) {
        arguments.value[i] = static_cast<long>(context.uc_mcontext.regs[i]);
    }
    return arguments;
#endif
}

void SetResult(ucontext_t& context, long result)
{
#if defined(__x86_64__)
    context.uc_mcontext.gregs[REG_RAX] = result;
#else
    context.uc_mcontext.regs[0] = static_cast<unsigned long long>(result);
#endif
}

long Pass(long call, const Arguments& of)
{
    return support_raw_call(call, of.value[0], of.value[1], of.value[2], of.value[3], of.value[4],
                            of.value[5]);
}

/// One byte of what was asked for.
long Shortened(long call, Arguments of)
{
    if (call == SYS_writev) {
        const auto* part = reinterpret_cast<const iovec*>(of.value[1]);
        const iovec* const end = part + of.value[2];
        while (part != end && part->iov_len == 0) {
            ++part;
        }
        if (part == end) {
            return Pass(call, of);
        }
        return support_raw_call(SYS_write, of.value[0], reinterpret_cast<long>(part->iov_base), 1, 0, 0, 0);
    }
    of.value[2] = of.value[2] > 0 ? 1 : 0;
    return Pass(call, of);
}

long Answer(long call, const Arguments& arguments)
{
    const long thread = state.thread;
    if (call < 0 || call >= MOST_CALLS || thread == 0 || state.paused ||
        (!state.fault.everyThread && thread != support_raw_call(SYS_gettid, 0, 0, 0, 0, 0, 0))) {
        return Pass(call, arguments);
    }
    const std::size_t number = ++state.seen[call];
    const bool chosen = state.fault.call == call &&
                        (number == state.fault.nth || (number > state.fault.nth && state.fault.andLater));
    state.failed += chosen ? 1 : 0;
    const bool toStandardError =
        (call == SYS_write || call == SYS_writev) && arguments.value[0] == STDERR_FILENO;
    state.failedErrors += chosen && toStandardError ? 1 : 0;
    if (chosen && state.fault.error == 0) {
        return Shortened(call, arguments);
    }
    if (chosen && call != SYS_close) {
        return -state.fault.error;
    }
    const long result = Pass(call, arguments);
    if (call == SYS_close) {
        state.badCloses += result == -EBADF ? 1 : 0;
        return chosen ? -state.fault.error : result;
    }
    return result;
}

void OnFilteredCall(int /*signal*/, siginfo_t* info, void* context)
{
    auto& machine = *static_cast<ucontext_t*>(context);
    SetResult(machine, Answer(info->si_syscall, ArgumentsOf(machine)));
}

sock_filter Load(std::size_t offset)
{
    return BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(offset));
}

sock_filter SkipUnless(std::uint32_t value, std::size_t otherwise)
{
    return BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, value, 0, static_cast<std::uint8_t>(otherwise));
}

sock_filter SkipIf(std::uint32_t value, std::size_t then)
{
    return BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, value, static_cast<std::uint8_t>(then), 0);
}

std::vector<sock_filter> Program(const std::vector<long>& calls)
{
    const auto address = reinterpret_cast<std::uintptr_t>(support_raw_call_return);
    constexpr std::size_t ADDRESS = offsetof(seccomp_data, instruction_pointer);
    std::vector<sock_filter> program = {Load(offsetof(seccomp_data, nr))};
    for (std::size_t i = 0; i < calls.size(); ++i) {
        program.push_back(SkipIf(static_cast<std::uint32_t>(calls[i]), calls.size() - i));
    }
    program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    program.push_back(Load(ADDRESS));
    program.push_back(SkipUnless(static_cast<std::uint32_t>(address), 3));
    program.push_back(Load(ADDRESS + 4));
    program.push_back(SkipUnless(static_cast<std::uint32_t>(address >> 32U), 1));
    program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRAP));
    return program;
}

}  // namespace

int support::FilterCalls(const std::vector<long>& calls)
{
    struct sigaction action {};
    action.sa_sigaction = OnFilteredCall;
    action.sa_flags = SA_SIGINFO | SA_NODEFER;
    if (sigaction(SIGSYS, &action, nullptr) != 0) {
        return errno;
    }
    std::vector<sock_filter> filter = Program(calls);
    const sock_fprog program = {static_cast<unsigned short>(filter.size()), filter.data()};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
        return errno;
    }
    return 0;
}

void support::FailCall(const CallFault& fault) noexcept
{
    state.thread = 0;
    for (Counter& count : state.seen) {
        count = 0;
    }
    state.failed = 0;
    state.failedErrors = 0;
    state.badCloses = 0;
    state.fault = fault;
    state.thread = syscall(SYS_gettid);
}

std::size_t support::AllowCalls() noexcept
{
    state.thread = 0;
    return state.failed;
}

void support::PauseCalls(bool pause) noexcept
{
    state.paused = pause;
}

std::size_t support::CallsSeen(long call) noexcept
{
    return state.seen[call];
}

std::size_t support::FailedErrorWrites() noexcept
{
    return state.failedErrors;
}

std::size_t support::BadCloses() noexcept
{
    return state.badCloses;
}
