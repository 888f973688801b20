// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_CONFORMANCE_ORPHAN_KEEPER_H
#define TOOLS_NUMA_SCORE_CONFORMANCE_ORPHAN_KEEPER_H

#include <sys/types.h>

#include <set>

namespace conformance {

/// Takes in the processes whose parents end below this one, daemons too, and ends them. Children that this
/// process had when the keeper was made are let alone. For one thread; no other one starts processes.
class OrphanKeeper {
public:
    OrphanKeeper();
    OrphanKeeper(const OrphanKeeper&) = delete;
    OrphanKeeper& operator=(const OrphanKeeper&) = delete;
    ~OrphanKeeper() = default;

    /// Ends all children that came since, with the children that they leave, and waits for them; gives up
    /// after a second.
    void End() const;

private:
    std::set<pid_t> before;
};

/// The processes whose parent this one is, those that have ended and were not waited for among them.
std::set<pid_t> Children();

}  // namespace conformance

#endif  // TOOLS_NUMA_SCORE_CONFORMANCE_ORPHAN_KEEPER_H
