// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_CONFORMANCE_CAST_H
#define TOOLS_NUMA_SCORE_CONFORMANCE_CAST_H

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "tools/numa_score/conformance/actor.h"
#include "tools/numa_score/conformance/notes.h"
#include "tools/numa_score/conformance/rule_process.h"
#include "tools/numa_score/conformance/subject.h"

namespace conformance {

/// A loaded plug-in with an actor for each of its instances; for the rules that drive them.
class Cast {
public:
    /// Loads `path`, which the rules before have found fit for it. Throws std::runtime_error where that fails
    /// now.
    Cast(const std::string& path, const Notes& notes, bool withQueue = true) : subject(path, notes)
    {
        subject.RequireInstances();
        const auto repeatUntil = std::chrono::steady_clock::now() + REPEAT_LIMIT;
        for (const std::shared_ptr<kovari::Interface>& instance : subject.Appended()) {
            if (instance) {
                actors.push_back(std::make_unique<Actor>(instance, notes, withQueue, repeatUntil));
            }
        }
        subject.DropInstances();
    }

    const std::vector<std::unique_ptr<Actor>>& Actors() const { return actors; }

    /// The ordinary life of every instance.
    void LiveAll()
    {
        for (const std::unique_ptr<Actor>& actor : actors) {
            LiveOrdinarily(*actor);
        }
    }

    /// Lets go of everything, which is disabled before, and closes the library.
    void Leave()
    {
        actors.clear();
        subject.CloseLibrary();
    }

private:
    Subject subject;
    std::vector<std::unique_ptr<Actor>> actors;
};

/// "instance "x" did something".
inline std::string About(const Actor& actor, const std::string& what)
{
    return "instance " + actor.Quoted() + " " + what;
}

}  // namespace conformance

#endif  // TOOLS_NUMA_SCORE_CONFORMANCE_CAST_H
