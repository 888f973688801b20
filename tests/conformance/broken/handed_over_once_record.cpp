// SPDX-License-Identifier: MIT
//
// Publishes one record again and again.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
protected:
    void* MakeRecord() override
    {
        kept = kept == nullptr ? new sample::Reading : kept;
        return kept;
    }

private:
    sample::Reading* kept = nullptr;
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
