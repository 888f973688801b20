// SPDX-License-Identifier: MIT

#include "tests/faults/allocation_sweep.h"

#include <exception>
#include <new>
#include <set>

namespace faults {
namespace {

enum class Ending { RETURNED, OUT_OF_MEMORY, OTHER_EXCEPTION };

const char* Text(Ending ending)
{
    switch (ending) {
        case Ending::RETURNED:
            return "returned";
        case Ending::OUT_OF_MEMORY:
            return "threw std::bad_alloc";
        case Ending::OTHER_EXCEPTION:
            break;
    }
    return "threw something else";
}

Ending Act(const std::function<void()>& act)
{
    try {
        act();
        return Ending::RETURNED;
    } catch (const std::bad_alloc&) {
        return Ending::OUT_OF_MEMORY;
    } catch (...) {
        return Ending::OTHER_EXCEPTION;
    }
}

/// The sweep of one operation.
class Sweep {
public:
    Sweep(const Operation& swept, support::Failing failing) : operation(swept), which(failing) {}

    SweepReport Run()
    {
        StateAfterSuccess(operation);  // whatever is built on first use
        success = StateAfterSuccess(operation);
        for (std::size_t nth = 1; report.faults.empty(); ++nth) {
            const std::set<std::string> open = OpenDescriptors();
            const long live = support::LiveBlocks();
            const std::size_t failed = Try(nth);
            if (report.faults.empty()) {  // a text of a fault would count as a leak
                Check(support::LiveBlocks() == live, "leaks memory", nth);
                Check(OpenDescriptors() == open, "leaves a descriptor open, or closes one of others", nth);
            }
            if (failed == 0) {
                break;
            }
            ++report.injected;
        }
        return report;
    }

private:
    /// One run with request `nth` failing. Returns how many failed.
    std::size_t Try(std::size_t nth)
    {
        const Trial trial = operation.prepare();
        const std::string before = trial.state();
        support::FailMemory(nth, which);
        const Ending ending = Act(trial.act);
        const std::size_t failed = support::AllowMemory();
        const std::string state = trial.state();

        const bool mayThrow = operation.memory == Memory::THROWS;
        Check(ending == Ending::RETURNED || (ending == Ending::OUT_OF_MEMORY && mayThrow), Text(ending), nth);
        Check(failed == 0 || operation.memory != Memory::NONE, "allocates", nth);
        const bool whole = state == success && ending == Ending::RETURNED;
        // Who may throw and does not has done it all, or tells.
        const bool asBefore = state == before && (ending != Ending::RETURNED || (failed > 0 && !mayThrow));
        const bool documented = failed > 0 && operation.documented && operation.documented(state, before);
        Check(whole || asBefore || documented,
              std::string(Text(ending)) + " and ends in the wrong way\nleft:    " + state +
                  "\nbefore:  " + before + "\nsuccess: " + success,
              nth);
        if (!whole) {
            Check(Act(NextCall(trial)) == Ending::RETURNED, "the next call throws", nth);
            Check(trial.state() == success, "the next call fails, too: " + trial.state(), nth);
        }
        return failed;
    }

    void Check(bool holds, const std::string& otherwise, std::size_t nth)
    {
        if (!holds) {
            report.faults.push_back(
                operation.name + ", request " + std::to_string(nth) + " of " + support::MemoryKind() +
                (which == support::Failing::ONE ? ": " : " and later ones: ") + otherwise);
        }
    }

    const Operation& operation;
    const support::Failing which;
    SweepReport report;
    std::string success;
};

}  // namespace

SweepReport SweepAllocations(const Operation& operation, support::Failing which)
{
    return Sweep(operation, which).Run();
}

}  // namespace faults
