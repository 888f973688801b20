// SPDX-License-Identifier: MIT

#include "tools/numa_score/conformance/process_figures.h"

#include <dirent.h>
#include <limits.h>
#include <stdlib.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <vector>

namespace conformance {
namespace {

/// The numbers among the names of a directory. The descriptor that it is read through is open meanwhile:
/// `own` gets it.
std::vector<int> NumbersIn(const char* directory, int& own)
{
    std::vector<int> numbers;
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(opendir(directory), &closedir);
    own = stream ? dirfd(stream.get()) : -1;
    while (stream) {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): a stream of our own
        const dirent* const entry = readdir(stream.get());
        if (entry == nullptr) {
            break;
        }
        if (entry->d_name[0] >= '0' && entry->d_name[0] <= '9') {
            numbers.push_back(static_cast<int>(std::strtol(entry->d_name, nullptr, 10)));
        }
    }
    return numbers;
}

}  // namespace

std::size_t ThreadCount()
{
    int own = -1;
    return NumbersIn("/proc/self/task", own).size();
}

std::map<int, std::string> OpenDescriptors()
{
    int own = -1;
    std::map<int, std::string> found;
    for (const int number : NumbersIn("/proc/self/fd", own)) {
        if (number == own) {
            continue;
        }
        std::array<char, PATH_MAX> target{};
        const ssize_t length =
            readlink(("/proc/self/fd/" + std::to_string(number)).c_str(), target.data(), target.size());
        found[number] = std::string(target.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
    }
    return found;
}

bool IsMapped(const std::string& file)
{
    const std::unique_ptr<char, void (*)(void*)> real(realpath(file.c_str(), nullptr), &std::free);
    const std::string path = real ? real.get() : file;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        const std::size_t at = line.find('/');
        if (at != std::string::npos && line.compare(at, path.size(), path) == 0 &&
            line.size() == at + path.size()) {
            return true;
        }
    }
    return false;
}

}  // namespace conformance
