// SPDX-License-Identifier: MIT
//
// Lets a copy of the process go on in its place.

#include <sys/wait.h>
#include <unistd.h>

#include "tests/conformance/sample_publisher.h"
#include "tests/support/quiet_fork.h"

namespace {

class Broken : public sample::Publisher {
public:
    Result Enable(const std::string& /*param*/) override
    {
        if (support::ForkQuietly() != 0) {
            wait(nullptr);
            _exit(0);
        }
        return {0, ""};
    }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
