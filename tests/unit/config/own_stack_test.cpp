// SPDX-License-Identifier: MIT

#include "config/own_stack.h"

#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>

#include <thread>

#include <gtest/gtest.h>

namespace {

struct Seen {
    bool called = false;
    std::thread::id thread;
    bool takesSignals = true;
    int sum = 0;
};

void Note(void* argument)
{
    auto* const seen = static_cast<Seen*>(argument);
    seen->called = true;
    seen->thread = std::this_thread::get_id();
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    seen->takesSignals = sigismember(&mask, SIGTERM) == 0 || sigismember(&mask, SIGALRM) == 0;
}

void UseMuchStack(void* argument)
{
    volatile char place[own_stack::BYTES / 2];
    for (std::size_t i = 0; i < sizeof(place); i += 4096) {
        place[i] = 1;
        static_cast<Seen*>(argument)->sum += place[i];
    }
}

TEST(OwnStack, RunsOnAThreadOfItsOwnWithoutSignals)
{
    Seen seen;
    ASSERT_TRUE(own_stack::Run(Note, &seen));
    EXPECT_TRUE(seen.called);
    EXPECT_NE(seen.thread, std::this_thread::get_id());
    EXPECT_FALSE(seen.takesSignals);
}

TEST(OwnStack, LeavesTheCallersSignalsAndCancellation)
{
    sigset_t before;
    sigemptyset(&before);
    sigaddset(&before, SIGUSR2);
    sigset_t old;
    ASSERT_EQ(pthread_sigmask(SIG_SETMASK, &before, &old), 0);
    Seen seen;
    EXPECT_TRUE(own_stack::Run(Note, &seen));
    sigset_t after;
    ASSERT_EQ(pthread_sigmask(SIG_SETMASK, &old, &after), 0);
    EXPECT_EQ(sigismember(&after, SIGUSR2), 1);
    EXPECT_EQ(sigismember(&after, SIGTERM), 0);
    int state = PTHREAD_CANCEL_DISABLE;
    ASSERT_EQ(pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &state), 0);
    EXPECT_EQ(state, PTHREAD_CANCEL_ENABLE);
}

TEST(OwnStack, IsLarge)
{
    Seen seen;
    ASSERT_TRUE(own_stack::Run(UseMuchStack, &seen));
    EXPECT_EQ(seen.sum, static_cast<int>(own_stack::BYTES / 2 / 4096));
}

TEST(OwnStack, SaysWhenThereIsNoThreadToBeHad)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || defined(__aarch64__)
    GTEST_SKIP() << "address space cannot be limited here: instrumented or emulated";
#endif
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_AS, &before), 0);
    rlimit none = before;
    none.rlim_cur = 1;
    struct Nested {
        Seen inner;
        bool ran = true;
        rlimit none;
    } nested;
    nested.none = none;
    // From within such a thread, so that the library has no used stack at hand.
    ASSERT_TRUE(own_stack::Run(
        [](void* argument) {
            auto* const call = static_cast<Nested*>(argument);
            setrlimit(RLIMIT_AS, &call->none);
            call->ran = own_stack::Run(Note, &call->inner);
        },
        &nested));
    EXPECT_EQ(setrlimit(RLIMIT_AS, &before), 0);
    EXPECT_FALSE(nested.ran);
    EXPECT_FALSE(nested.inner.called);
}

}  // namespace
