// SPDX-License-Identifier: MIT

#include "tools/numa_score/conformance/this_program.h"

#include <unistd.h>

namespace conformance {

int StartThisProgram(std::vector<std::string> arguments, const posix_spawn_file_actions_t& actions,
                     const posix_spawnattr_t* attributes, pid_t& pid)
{
    std::string name = "numa-score";
    std::vector<char*> argv = {name.data()};
    for (std::string& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    return posix_spawn(&pid, "/proc/self/exe", &actions, attributes, argv.data(), environ);
}

}  // namespace conformance
