// SPDX-License-Identifier: MIT

#include "tests/soak/soak.h"

#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>

#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>
#include <utility>

#include "tests/support/sanitized.h"

namespace soak {
namespace {

constexpr bool JUDGES_MEMORY = !support::SANITIZED;

std::size_t EntriesOf(const char* directory)
{
    const std::filesystem::directory_iterator entries(directory);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

bool Unchanged(const std::string& name, const char* what, std::size_t before, std::size_t after)
{
    if (before != after) {
        std::fprintf(stderr, "soak: %s: %zu %s became %zu\n", name.c_str(), before, what, after);
    }
    return before == after;
}

}  // namespace

Footprint ReadFootprint()
{
    Footprint footprint;
    std::int64_t size = 0;
    std::ifstream statm("/proc/self/statm");
    statm >> size >> footprint.residentKb;
    statm.close();
    footprint.residentKb *= sysconf(_SC_PAGESIZE) / 1024;
    footprint.descriptors = EntriesOf("/proc/self/fd");
    footprint.threads = EntriesOf("/proc/self/task");
    return footprint;
}

void WaitForThreads(std::size_t expected)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (ReadFootprint().threads != expected && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

Watch::Watch(std::string what, std::uint64_t total)
    : name(std::move(what)), rounds(total), warmUp(total / 10), start(std::chrono::steady_clock::now())
{
}

bool Watch::End()
{
    const Footprint after = ReadFootprint();
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    const std::int64_t growth = after.residentKb - before.residentKb;
    std::printf("%s: %" PRIu64 " in %.1f s; resident %" PRId64 " kB after %" PRIu64 ", %" PRId64
                " kB at the end (%+" PRId64 " kB%s); descriptors %zu, %zu; threads %zu, %zu\n",
                name.c_str(), done, seconds.count(), before.residentKb, warmUp, after.residentKb, growth,
                JUDGES_MEMORY ? "" : ", not judged: a sanitizer's allocator keeps freed memory",
                before.descriptors, after.descriptors, before.threads, after.threads);
    bool good = Unchanged(name, "descriptors", before.descriptors, after.descriptors);
    good = Unchanged(name, "threads", before.threads, after.threads) && good;
    if (done != rounds) {
        std::fprintf(stderr, "soak: %s: %" PRIu64 " rounds were wanted\n", name.c_str(), rounds);
        good = false;
    }
    if (JUDGES_MEMORY && growth > MAX_GROWTH_KB) {
        std::fprintf(stderr, "soak: %s: memory grew by %" PRId64 " kB; at most %" PRId64 " kB are allowed\n",
                     name.c_str(), growth, MAX_GROWTH_KB);
        good = false;
    }
    return good;
}

int Main(int argc, char** argv, const std::map<std::string, Run>& runs)
{
    const auto run = argc == 3 ? runs.find(argv[1]) : runs.end();
    char* rest = nullptr;
    const std::uint64_t rounds = argc == 3 ? std::strtoull(argv[2], &rest, 10) : 0;
    if (run == runs.end() || rounds < 10 || *rest != '\0') {
        std::fprintf(stderr, "usage: %s NAME ROUNDS, 10 rounds or more, with a name of", argv[0]);
        for (const auto& known : runs) {
            std::fprintf(stderr, " %s", known.first.c_str());
        }
        std::fprintf(stderr, "\n");
        return 2;
    }
    try {
        return run->second(rounds) ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "soak: %s: %s\n", argv[1], error.what());
        return EXIT_FAILURE;
    }
}

}  // namespace soak
