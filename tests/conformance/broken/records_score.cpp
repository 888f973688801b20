// SPDX-License-Identifier: MIT
//
// Publishes a score that is none.

#include "scenario/numa_scenario.h"
#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
public:
    Broken()
    {
        name = "scenario_numa";
        supportTopics.front() = {name, "system_score", ""};
    }

protected:
    void* MakeRecord() override { return new ScenarioNumaScore{2.5F, 0, 0, 0, 0}; }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
