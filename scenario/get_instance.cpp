// SPDX-License-Identifier: MIT

#include "scenario/get_instance.h"

#include "scenario/numa_scenario_ins.h"

void GetInstance(std::vector<std::shared_ptr<kovari::Interface>>& interfaces)
{
    interfaces.push_back(std::make_shared<kovari::NumaScenarioIns>());
}
