// SPDX-License-Identifier: MIT
//
// Forgets a block in every Run.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
public:
    void Run() override
    {
        forgotten = new sample::Reading;
        Publisher::Run();
    }

private:
    sample::Reading* volatile forgotten = nullptr;
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
