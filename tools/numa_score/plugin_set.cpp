// SPDX-License-Identifier: MIT

#include "tools/numa_score/plugin_set.h"

#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <utility>

#include "tools/numa_score/messages.h"

namespace numa_score {
namespace {

constexpr const char* LIBRARY = "libscenario_numa.so";

bool IsDirectory(const std::string& path)
{
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

std::vector<std::shared_ptr<kovari::Interface>> PluginSet::Instances() const
{
    std::vector<std::shared_ptr<kovari::Interface>> instances;
    for (const std::unique_ptr<host::Plugin>& plugin : plugins) {
        instances.insert(instances.end(), plugin->Instances().begin(), plugin->Instances().end());
    }
    return instances;
}

PluginSetResult LoadPlugins(const std::string& path)
{
    std::vector<host::LoadResult> loaded;
    if (IsDirectory(path)) {
        loaded = host::LoadPluginDirectory(path);
    } else {
        loaded.push_back(host::LoadPlugin(path));
    }
    PluginSetResult result;
    for (host::LoadResult& one : loaded) {
        if (!one.remark.empty()) {
            result.set.remarks.push_back(std::move(one.remark));
        }
        if (one.plugin) {
            result.set.plugins.push_back(std::move(one.plugin));
        } else {
            result.set.remarks.push_back(std::move(one.message));
        }
    }
    if (result.set.plugins.empty()) {
        result.error = result.set.remarks.empty() ? NoScorePublisher(path) : result.set.remarks.front();
    }
    return result;
}

ScorePublisher FindScorePublisher(const std::vector<std::shared_ptr<kovari::Interface>>& instances)
{
    for (const std::shared_ptr<kovari::Interface>& instance : instances) {
        for (const kovari::Topic& topic : instance->supportTopics) {
            if (topic.topicName == SCORE_TOPIC) {
                return {instance, topic};
            }
        }
    }
    return {};
}

std::vector<std::string> PluginPlaces(const cli::Environment& environment,
                                      const std::string& executableDirectory)
{
    const char* const chosen = environment("NUMA_SCORE_PLUGIN");
    if (chosen != nullptr && *chosen != '\0') {
        return {chosen};
    }
    std::vector<std::string> places;
    if (!executableDirectory.empty()) {
        places.push_back(executableDirectory + "/../lib/" + LIBRARY);
        places.push_back(executableDirectory + "/../" NUMA_SCORE_LIBDIR "/" + LIBRARY);
    }
    places.push_back(std::string(NUMA_SCORE_PLUGIN_DIR "/") + LIBRARY);
    places.push_back(std::string(NUMA_SCORE_FULL_LIBDIR "/") + LIBRARY);
    return places;
}

std::string FindPlugin(const std::vector<std::string>& places)
{
    if (places.size() == 1) {
        return places.front();
    }
    for (const std::string& place : places) {
        if (access(place.c_str(), F_OK) == 0) {
            return place;
        }
    }
    return {};
}

std::string ExecutableDirectory()
{
    std::array<char, PATH_MAX> target;
    const ssize_t length = readlink("/proc/self/exe", target.data(), target.size());
    if (length <= 0) {
        return {};
    }
    const std::string path(target.data(), static_cast<std::size_t>(length));
    return path.substr(0, path.rfind('/'));
}

PluginSetResult LoadScorePlugins(const std::string& given)
{
    std::string path = given;
    if (path.empty()) {
        const std::vector<std::string> places = PluginPlaces(cli::ProcessEnvironment, ExecutableDirectory());
        path = FindPlugin(places);
        if (path.empty()) {
            return {{}, NoPluginFound(places)};
        }
    }
    PluginSetResult result = LoadPlugins(path);
    if (result.error.empty() && !FindScorePublisher(result.set.Instances()).instance) {
        result.error = NoScorePublisher(path);
    }
    return result;
}

}  // namespace numa_score
