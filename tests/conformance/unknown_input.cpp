// SPDX-License-Identifier: MIT
//
// In order; subscribes to a topic whose records nobody but its publisher knows.

#include "tests/conformance/sample_publisher.h"

namespace {

class Stranger : public sample::Publisher {
protected:
    void Subscribe() override
    {
        if (subscribed.insert("somebody::else::").second) {
            Push(Make(RunType::SUBSCRIBE, {"somebody::else::", name}));
        }
    }
    void Unsubscribe() override
    {
        if (subscribed.erase("somebody::else::") != 0) {
            Push(Make(RunType::UNSUBSCRIBE, {"somebody::else::", name}));
        }
    }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Stranger>());
}
