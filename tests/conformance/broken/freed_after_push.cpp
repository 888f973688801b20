// SPDX-License-Identifier: MIT
//
// Deletes the record as soon as it is pushed.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
protected:
    void Publish() override
    {
        PublishAs(Key(supportTopics.front()));
        delete static_cast<sample::Reading*>(record);
    }
    void* MakeRecord() override
    {
        record = Publisher::MakeRecord();
        return record;
    }

private:
    void* record = nullptr;
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
