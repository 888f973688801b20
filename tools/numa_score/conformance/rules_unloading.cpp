// SPDX-License-Identifier: MIT
//
// Rules about what a plug-in leaves behind in the process.

#include <chrono>
#include <thread>

#include "host/escape.h"
#include "tools/numa_score/conformance/cast.h"
#include "tools/numa_score/conformance/process_figures.h"
#include "tools/numa_score/conformance/rules.h"

namespace conformance {
namespace {

/// Threads that end are listed for a while.
constexpr int TRIES = 100;
constexpr std::chrono::milliseconds BETWEEN_TRIES(10);

void LoadLiveAndLeave(const std::string& path, const Notes& notes)
{
    Cast cast(path, notes);
    cast.LiveAll();
    notes.At("unloading");
    cast.Leave();
}

}  // namespace

Verdict ExamineUnload(const std::string& path, const Notes& notes)
{
    const bool before = IsMapped(path);
    LoadLiveAndLeave(path, notes);
    if (before) {
        return NotExamined("the library was part of the process before it was loaded");
    }
    return IsMapped(path) ? Failed("the library is still mapped after dlclose") : Passed("unloaded");
}

Verdict ExamineThreads(const std::string& path, const Notes& notes)
{
    const std::size_t before = ThreadCount();
    LoadLiveAndLeave(path, notes);
    std::size_t after = ThreadCount();
    for (int i = 0; i < TRIES && after != before; ++i) {
        std::this_thread::sleep_for(BETWEEN_TRIES);
        after = ThreadCount();
    }
    if (after != before) {
        const bool more = after > before;
        const std::size_t count = more ? after - before : before - after;
        return Failed(std::to_string(count) + (more ? " more" : " fewer") +
                      (count == 1 ? " thread" : " threads") + " than before the load");
    }
    return Passed("as before");
}

Verdict ExamineDescriptors(const std::string& path, const Notes& notes)
{
    const std::map<int, std::string> before = OpenDescriptors();
    LoadLiveAndLeave(path, notes);
    const std::map<int, std::string> after = OpenDescriptors();
    for (const auto& [number, target] : after) {
        const auto known = before.find(number);
        if (known == before.end() || known->second != target) {
            return Failed("left " + host::EscapeText(target, 128) + " open");
        }
    }
    for (const auto& [number, target] : before) {
        if (after.count(number) == 0) {
            return Failed("closed " + host::EscapeText(target, 128) + ", which it had not opened");
        }
    }
    return Passed("as before");
}

}  // namespace conformance
