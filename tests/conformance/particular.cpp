// SPDX-License-Identifier: MIT
//
// In order, and particular about what a host may do: knows no parameters, tells its period and topics in
// Enable, ends the process when a call comes that no host makes. Has no version, keeps the batches of the
// last 600 periods, publishes as "system_score" a record of its own that is aligned to more than usual.

#include <cstdlib>

#include <deque>

#include "tests/conformance/sample_publisher.h"

namespace {

struct alignas(64) Wide {
    std::uint64_t batches = 0;
};

class Good : public sample::Publisher {
public:
    Good()
    {
        version.clear();
        period = 0;
        supportTopics.clear();
    }

    Result Enable(const std::string& param) override
    {
        Demand(!std::exchange(wasEnabled, true));
        if (!param.empty()) {
            return {-1, "no parameters are known"};
        }
        period = 10;
        supportTopics.push_back({name, "system_score", ""});
        return {0, ""};
    }

    Result OpenTopic(const kovari::Topic& topic) override
    {
        Demand(wasEnabled && !wasDisabled);
        return Publisher::OpenTopic(topic);
    }

    void UpdateData(const DataList& dataList) override
    {
        Demand(subscribed.count(kovari::Concat(
                   {dataList.topic.instanceName, dataList.topic.topicName, dataList.topic.params}, "::")) !=
               0);
        Publisher::UpdateData(dataList);
    }

    void Run() override
    {
        Demand(wasEnabled && !wasDisabled);
        history.push_back(std::make_unique<std::uint64_t>(batches));
        if (history.size() > 600) {
            history.pop_front();
        }
        Publisher::Run();
    }

    void Disable() override
    {
        Demand(wasEnabled && !std::exchange(wasDisabled, true));
        Publisher::Disable();
    }

protected:
    void* MakeRecord() override
    {
        void* const record = new Wide{batches};
        Demand(reinterpret_cast<std::uintptr_t>(record) % alignof(Wide) == 0);
        return record;
    }

private:
    static void Demand(bool condition)
    {
        if (!condition) {
            std::abort();
        }
    }

    bool wasEnabled = false;
    bool wasDisabled = false;
    std::deque<std::unique_ptr<std::uint64_t>> history;
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Good>());
}
