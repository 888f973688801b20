// SPDX-License-Identifier: MIT
//
// Leaves a thread behind.

#include <pthread.h>
#include <unistd.h>

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
public:
    Result Enable(const std::string& /*param*/) override
    {
        // Runs no code of the library, which may be gone before it begins.
        pthread_t thread{};
        auto* const begin = reinterpret_cast<void* (*)(void*)>(reinterpret_cast<void*>(&pause));
        return {pthread_create(&thread, nullptr, begin, nullptr), ""};
    }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
