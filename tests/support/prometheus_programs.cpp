// SPDX-License-Identifier: MIT

#include "tests/support/prometheus_programs.h"

#include <stdlib.h>
#include <unistd.h>

#include <sstream>
#include <vector>

namespace support {
namespace {

std::vector<std::string> SearchPath()
{
    std::vector<std::string> directories;
    const char* const path = getenv("PATH");
    std::istringstream stream(path == nullptr ? "" : path);
    for (std::string directory; std::getline(stream, directory, ':');) {
        directories.push_back(directory);
    }
    return directories;
}

}  // namespace

PrometheusProgram FindPrometheusProgram(const std::string& name)
{
    const char* const named = getenv("SCENARIO_NUMA_PROMETHEUS_DIR");
    const bool isRequired = named != nullptr && *named != '\0';
    const std::string directory = isRequired ? named : PROMETHEUS_DIR;
    std::vector<std::string> places;
    if (!isRequired) {
        places = SearchPath();
    }
    places.insert(places.begin(), directory + "/usr/bin");
    for (const std::string& place : places) {
        const std::string path = place + "/" + name;
        if (access(path.c_str(), X_OK) == 0) {
            return {path, "", isRequired};
        }
    }
    return {
        "",
        "no " + name + " in " + directory + (isRequired ? "" : " and in PATH") +
            "; scripts/prometheus.sh build/prometheus unpacks it, SCENARIO_NUMA_PROMETHEUS_DIR names another "
            "directory",
        isRequired};
}

}  // namespace support
