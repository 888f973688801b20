// SPDX-License-Identifier: MIT
//
// Deletes what it published before when it publishes again.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
protected:
    void Publish() override
    {
        delete[] last.topic.topicName;
        last = PublishAs(Key(supportTopics.front()));
    }

private:
    DataList last;
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
