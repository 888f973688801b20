// SPDX-License-Identifier: MIT
//
// Goes on counting in the record that it published.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
public:
    void UpdateData(const DataList& /*dataList*/) override
    {
        if (last != nullptr) {
            ++last->batches;
        }
    }

protected:
    void* MakeRecord() override
    {
        last = new sample::Reading;
        return last;
    }

private:
    sample::Reading* last = nullptr;
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
