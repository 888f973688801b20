// SPDX-License-Identifier: MIT
//
// Forgets a block in every Run that is big enough for a mapping of its own.

#include <cstdlib>

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
public:
    void Run() override
    {
        forgotten = std::malloc(std::size_t{1} << 20U);
        Publisher::Run();
    }

private:
    void* volatile forgotten = nullptr;
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
