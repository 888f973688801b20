// SPDX-License-Identifier: MIT

#ifndef TOOLS_TARNIX_ENGINE_OPTIONS_H
#define TOOLS_TARNIX_ENGINE_OPTIONS_H

#include <string>

#include "config/conf.h"

namespace tarnix {

/// The options of the tuning engine that differ from their defaults, "name, name, ..." in the order of the
/// configuration report; empty when there are none.
std::string EngineOptionsThatAreSet(const Conf& conf);

}  // namespace tarnix

#endif  // TOOLS_TARNIX_ENGINE_OPTIONS_H
