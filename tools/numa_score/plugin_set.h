// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_PLUGIN_SET_H
#define TOOLS_NUMA_SCORE_PLUGIN_SET_H

#include <memory>
#include <string>
#include <vector>

#include "host/plugin_loader.h"
#include "scenario/framework.h"
#include "tools/cli/terminal.h"

namespace numa_score {

/// The topic that carries the score, whoever publishes it.
constexpr const char* SCORE_TOPIC = "system_score";

/// The plug-in libraries that a run uses. Whoever took instances out lets go of them before the set goes.
struct PluginSet {
    std::vector<std::unique_ptr<host::Plugin>> plugins;
    std::vector<std::string> remarks;  ///< about libraries of a directory that were left out, each one line

    std::vector<std::shared_ptr<kovari::Interface>> Instances() const;
};

/// A set, or one line that says why there is none.
struct PluginSetResult {
    PluginSet set;
    std::string error;
};

/// Loads a library, or every library of a directory; what of a directory cannot be loaded is left out with a
/// remark unless nothing can.
PluginSetResult LoadPlugins(const std::string& path);

/// The first instance that publishes SCORE_TOPIC, with the topic's address; null when there is none.
struct ScorePublisher {
    std::shared_ptr<kovari::Interface> instance;
    kovari::Topic topic;
};
ScorePublisher FindScorePublisher(const std::vector<std::shared_ptr<kovari::Interface>>& instances);

/// Where the library is looked for when no place is given, in this order: $NUMA_SCORE_PLUGIN alone when it is
/// set; otherwise lib/ beside the directory of the executable (build tree, relocated installation), the
/// framework's plug-in directory, the system's library directory.
std::vector<std::string> PluginPlaces(const cli::Environment& environment,
                                      const std::string& executableDirectory);

/// The first place that exists; empty when none does. $NUMA_SCORE_PLUGIN is returned whether it exists or
/// not.
std::string FindPlugin(const std::vector<std::string>& places);

/// Directory of the running program; empty when the system does not say.
std::string ExecutableDirectory();

/// LoadPlugins for the place that was `given` (or found, when it is empty), with a score publisher among the
/// instances.
PluginSetResult LoadScorePlugins(const std::string& given);

}  // namespace numa_score

#endif  // TOOLS_NUMA_SCORE_PLUGIN_SET_H
