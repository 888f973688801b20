// SPDX-License-Identifier: MIT
//
// What our library costs a host at start: dlopen and GetInstance, against an empty library that needs the
// same libraries. Every load happens in a process of its own, started afresh, the two taking turns; printed
// are both medians and the median of the ratios of the rounds. No Google Benchmark: a library can be loaded
// for the first time only once per process.
//
// usage: load_bench [ROUNDS]      exit status 1 when a ratio exceeds the goal
//        load_bench --load now|lazy none|loaded LIBRARY     (one load, for the processes started)

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

extern char** environ;

namespace {

constexpr double GOAL = 1.15;
constexpr int DEFAULT_ROUNDS = 101;

/// Never looked into here; the plug-in makes it and its deleter releases it.
struct Instance;
using Instances = std::vector<std::shared_ptr<Instance>>;

[[noreturn]] void Die(const std::string& text)
{
    std::fprintf(stderr, "load_bench: %s\n", text.c_str());
    std::exit(2);
}

int AddObject(dl_phdr_info* info, std::size_t /*size*/, void* objects)
{
    static_cast<std::vector<std::string>*>(objects)->emplace_back(info->dlpi_name);
    return 0;
}

/// The process that is measured: prints nanoseconds and the number of objects that are loaded afterwards.
int LoadOnce(const char* mode, const char* before, const char* library)
{
    const int flag = std::strcmp(mode, "now") == 0 ? RTLD_NOW : RTLD_LAZY;
    // A host may have the libraries that a plug-in needs already; then what is left is the plug-in's own.
    if (std::strcmp(before, "loaded") == 0) {
        if (dlopen(NEEDS_LIBRARY, RTLD_NOW | RTLD_LOCAL) == nullptr) {
            Die(dlerror());
        }
    }
    Instances instances;
    const auto start = std::chrono::steady_clock::now();
    void* handle = dlopen(library, flag | RTLD_LOCAL);
    if (handle == nullptr) {
        Die(dlerror());
    }
    const auto entry = reinterpret_cast<void (*)(Instances&)>(dlsym(handle, "GetInstance"));
    if (entry == nullptr) {
        Die(dlerror());
    }
    entry(instances);
    const auto end = std::chrono::steady_clock::now();

    std::vector<std::string> objects;
    dl_iterate_phdr(&AddObject, &objects);
    std::printf(
        "%lld %zu\n",
        static_cast<long long>(std::chrono::duration_cast<std::chrono::nanoseconds>(end - start).count()),
        objects.size());
    std::fflush(stdout);
    // Neither unloading nor the end of log4cplus's threads belongs to the figure.
    _exit(0);
}

struct Load {
    double nanoseconds = 0;
    std::size_t objects = 0;
};

/// Starts this program again for one load and reads its line.
Load Measure(const std::string& self, const char* mode, const char* before, const char* library)
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        Die(std::string("pipe2: ") + std::strerror(errno));
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    std::array<std::string, 5> words = {self, "--load", mode, before, library};
    std::array<char*, 6> arguments{};
    std::transform(words.begin(), words.end(), arguments.begin(),
                   [](std::string& word) { return word.data(); });
    pid_t child = 0;
    const int error = posix_spawn(&child, self.c_str(), &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    if (error != 0) {
        Die(self + ": " + std::strerror(error));
    }
    std::string line;
    std::array<char, 128> block{};
    for (ssize_t size = 0; (size = read(ends[0], block.data(), block.size())) > 0;) {
        line.append(block.data(), static_cast<std::size_t>(size));
    }
    close(ends[0]);
    int status = 0;
    if (waitpid(child, &status, 0) != child || status != 0) {
        Die(std::string(library) + ": the load failed");
    }
    Load load;
    long long nanoseconds = 0;
    if (std::sscanf(line.c_str(), "%lld %zu", &nanoseconds, &load.objects) != 2) {
        Die(std::string(library) + ": no figures from its process");
    }
    load.nanoseconds = static_cast<double>(nanoseconds);
    return load;
}

double MedianOf(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// One row of the report; false when the goal is missed. Judged is the host that has nothing loaded; in the
/// other the needed libraries are there before, and little is left to divide by.
bool Compare(const std::string& self, const char* mode, bool isJudged, int rounds)
{
    const char* before = isJudged ? "none" : "loaded";
    std::vector<double> ours;
    std::vector<double> empty;
    std::vector<double> ratios;
    for (int round = 0; round < rounds; ++round) {
        // Whoever comes second finds warmer caches: the two change places every round.
        Load first = Measure(self, mode, before, round % 2 == 0 ? PLUGIN_LIBRARY : EMPTY_LIBRARY);
        Load second = Measure(self, mode, before, round % 2 == 0 ? EMPTY_LIBRARY : PLUGIN_LIBRARY);
        if (first.objects != second.objects) {
            Die("the two libraries do not need the same libraries");
        }
        if (round % 2 != 0) {
            std::swap(first, second);
        }
        ours.push_back(first.nanoseconds);
        empty.push_back(second.nanoseconds);
        // Of neighbours in time: what else the machine does drifts over the rounds.
        ratios.push_back(first.nanoseconds / second.nanoseconds);
    }
    const double ratio = MedianOf(ratios);
    const char* host = isJudged ? "bare host" : "libraries there before";
    const char* verdict = ratio <= GOAL ? "within the goal" : "above the goal";
    std::printf("%-5s %-22s %10.1f %10.1f %7.3f   %s\n", mode, host, MedianOf(ours) / 1000,
                MedianOf(empty) / 1000, ratio, isJudged ? verdict : "for information");
    return !isJudged || ratio <= GOAL;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc == 5 && std::strcmp(argv[1], "--load") == 0) {
        return LoadOnce(argv[2], argv[3], argv[4]);
    }
    int rounds = DEFAULT_ROUNDS;
    if (argc > 2 ||
        (argc == 2 && (std::from_chars(argv[1], argv[1] + std::strlen(argv[1]), rounds).ec != std::errc() ||
                       rounds < 1 || rounds > 100000))) {
        Die("usage: load_bench [ROUNDS from 1 to 100000]");
    }
    std::array<char, 4096> self{};
    if (readlink("/proc/self/exe", self.data(), self.size() - 1) < 0) {
        Die(std::string("/proc/self/exe: ") + std::strerror(errno));
    }
    std::printf("dlopen and GetInstance, median of %d fresh processes each, microseconds; goal %.2f\n",
                rounds, GOAL);
    std::printf("mode  host                         ours      empty   ratio\n");
    bool isGood = true;
    for (const bool isJudged : {true, false}) {
        for (const char* mode : {"now", "lazy"}) {
            isGood = Compare(self.data(), mode, isJudged, rounds) && isGood;
        }
    }
    return isGood ? 0 : 1;
}
