// SPDX-License-Identifier: MIT

#include "config/own_stack.h"

#include <pthread.h>
#include <signal.h>

namespace {

struct Call {
    void (*work)(void*);
    void* argument;
};

void* Execute(void* call)
{
    const auto* const what = static_cast<const Call*>(call);
    what->work(what->argument);
    return nullptr;
}

/// The host's signal handlers are not meant to run on a thread that it does not know.
bool CreateWithoutSignals(pthread_t& thread, const pthread_attr_t& attributes, Call& call)
{
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    if (pthread_sigmask(SIG_SETMASK, &all, &before) != 0) {
        return false;
    }
    const int error = pthread_create(&thread, &attributes, Execute, &call);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return error == 0;
}

}  // namespace

namespace own_stack {

bool Run(void (*work)(void*), void* argument) noexcept
{
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) {
        return false;
    }
    // Waiting for a thread is a place where a host may cancel its own: the work would lose what it points to.
    int cancelState = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelState);
    Call call = {work, argument};
    pthread_t thread{};
    const bool created =
        pthread_attr_setstacksize(&attributes, BYTES) == 0 && CreateWithoutSignals(thread, attributes, call);
    if (created) {
        pthread_join(thread, nullptr);
    }
    pthread_setcancelstate(cancelState, nullptr);
    pthread_attr_destroy(&attributes);
    return created;
}

}  // namespace own_stack
