// SPDX-License-Identifier: MIT

#ifndef SCENARIO_GET_INSTANCE_H
#define SCENARIO_GET_INSTANCE_H

#include <memory>
#include <vector>

#include "scenario/export.h"
#include "scenario/framework.h"

/// Entry point of the plug-in, found by the host under its plain name. Appends one NumaScenarioIns to
/// `interfaces` and leaves existing entries alone. Raises only what construction raises (std::bad_alloc); the
/// vector is then as it was. May be called more than once; each call hands out an instance of its own, and
/// all of them share the one NumaScenario.
extern "C" SCENARIO_NUMA_EXPORT void GetInstance(std::vector<std::shared_ptr<kovari::Interface>>& interfaces);

#endif  // SCENARIO_GET_INSTANCE_H
