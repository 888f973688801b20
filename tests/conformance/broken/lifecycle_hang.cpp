// SPDX-License-Identifier: MIT
//
// Never comes back from OpenTopic.

#include <unistd.h>

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
public:
    Result OpenTopic(const kovari::Topic& /*topic*/) override
    {
        for (;;) {
            pause();
        }
    }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
