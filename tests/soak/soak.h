// SPDX-License-Identifier: MIT

#ifndef TESTS_SOAK_SOAK_H
#define TESTS_SOAK_SOAK_H

#include <cstddef>
#include <cstdint>

#include <chrono>
#include <map>
#include <stdexcept>
#include <string>

/// What the endurance programs share: counting, measuring and judging.
namespace soak {

/// Something is not as it has to be; ends the run.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

inline void Require(bool condition, const char* what)
{
    if (!condition) {
        throw Failure(what);
    }
}

/// What this process holds: resident set (second figure of /proc/self/statm times the page size), entries of
/// /proc/self/fd and of /proc/self/task.
struct Footprint {
    std::int64_t residentKb = 0;
    std::size_t descriptors = 0;
    std::size_t threads = 0;
};

Footprint ReadFootprint();

/// Waits, at most 20 s, until there are `expected` threads: a joined one is off the list of tasks only when
/// the kernel has put it away, a moment later.
void WaitForThreads(std::size_t expected);

/// Judges one run: memory may grow by MAX_GROWTH_KB from the end of the warm-up, a tenth of the run, to the
/// run's end; descriptors and threads may not change. Under a sanitizer, whose allocator keeps freed memory,
/// growth is shown and not judged.
class Watch {
public:
    static constexpr std::int64_t MAX_GROWTH_KB = 1024;

    /// `total` rounds to come, called `what` in the figures.
    Watch(std::string what, std::uint64_t total);

    std::uint64_t WarmUp() const { return warmUp; }

    /// To be called once before each round; ends the warm-up when it is over.
    void Round()
    {
        if (done++ == warmUp) {
            EndWarmUp();
        }
    }

    /// For runs that make their rounds by the thousand: counts them, and EndWarmUp is the caller's to call.
    void Count(std::uint64_t count) { done += count; }

    /// Takes the footprint that the last one is compared with.
    void EndWarmUp() { before = ReadFootprint(); }

    /// Prints the figures; false, with a line that says what is wrong, when the run failed.
    bool End();

private:
    std::string name;
    std::uint64_t rounds;
    std::uint64_t warmUp;
    std::uint64_t done = 0;
    Footprint before;
    std::chrono::steady_clock::time_point start;
};

/// One kind of run: makes `rounds` of them and says whether all was well; raises Failure at the first fault.
using Run = bool (*)(std::uint64_t rounds);

/// The programs' main: `NAME ROUNDS` with a name of `runs`. Exit status 0 good, 1 failed, 2 usage.
int Main(int argc, char** argv, const std::map<std::string, Run>& runs);

}  // namespace soak

#endif  // TESTS_SOAK_SOAK_H
