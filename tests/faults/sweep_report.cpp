// SPDX-License-Identifier: MIT

#include "tests/faults/sweep_report.h"

#include <filesystem>
#include <iterator>

namespace faults {

std::set<std::string> OpenDescriptors()
{
    std::set<std::string> open;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        open.insert(entry.path().filename().string() + " " +
                    std::filesystem::read_symlink(entry.path(), gone).string());
    }
    // The directory that is being read has a number of its own each time.
    for (auto one = open.begin(); one != open.end();) {
        one = one->find("/fd") != std::string::npos ? open.erase(one) : std::next(one);
    }
    return open;
}

std::string StateAfterSuccess(const Operation& operation)
{
    const Trial trial = operation.prepare();
    trial.act();
    return trial.state();
}

const std::function<void()>& NextCall(const Trial& trial)
{
    return trial.again ? trial.again : trial.act;
}

}  // namespace faults
