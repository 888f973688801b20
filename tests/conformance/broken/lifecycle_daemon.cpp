// SPDX-License-Identifier: MIT
//
// Becomes a daemon in Enable.

#include <unistd.h>

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
public:
    Result Enable(const std::string& /*param*/) override
    {
        if (fork() != 0) {
            _exit(0);
        }
        setsid();
        for (;;) {
            sleep(60);
        }
    }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
