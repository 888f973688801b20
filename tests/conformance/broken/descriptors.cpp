// SPDX-License-Identifier: MIT
//
// Leaves a file open.

#include <fcntl.h>

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
public:
    Result Enable(const std::string& /*param*/) override
    {
        opened = open("/dev/null", O_RDONLY | O_CLOEXEC) >= 0 && opened;
        return {0, ""};
    }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
