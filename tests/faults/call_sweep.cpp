// SPDX-License-Identifier: MIT

#include "tests/faults/call_sweep.h"

#include <errno.h>
#include <string.h>
#include <sys/syscall.h>

#include <exception>
#include <set>

#include "tests/faults/swept_calls.h"
#include "tests/support/failing_calls.h"
#include "tests/support/failing_memory.h"

namespace faults {
namespace {

/// The calls of one kind that a run without faults makes.
struct Calls {
    const SweptCall* kind;
    std::size_t count;
};

std::vector<Calls> CallsWithoutFault(const Operation& operation)
{
    const Trial trial = operation.prepare();
    support::FailCall({});
    trial.act();
    support::AllowCalls();
    std::vector<Calls> calls;
    for (const SweptCall& kind : SweptCallTable()) {
        if (support::CallsSeen(kind.number) > 0) {
            calls.push_back({&kind, support::CallsSeen(kind.number)});
        }
    }
    return calls;
}

/// The sweep of one operation.
class Sweep {
public:
    explicit Sweep(const Operation& swept) : operation(swept) {}

    SweepReport Run()
    {
        StateAfterSuccess(operation);  // whatever is opened on first use
        success = StateAfterSuccess(operation);
        for (const Calls& calls : CallsWithoutFault(operation)) {
            for (const int error : calls.kind->errors) {
                for (std::size_t nth = 1; nth <= calls.count; ++nth) {
                    RunWith(*calls.kind, {calls.kind->number, nth, false, error});
                    // What is interrupted or shortened for ever has no end.
                    if (error != EINTR && error != SHORT) {
                        RunWith(*calls.kind, {calls.kind->number, nth, true, error});
                    }
                }
            }
        }
        return report;
    }

private:
    void RunWith(const SweptCall& kind, const support::CallFault& fault)
    {
        place = operation.name + ", " + kind.name + " " + std::to_string(fault.nth) +
                (fault.andLater ? " and later ones" : "") + " with " +
                (fault.error == SHORT ? "one byte" : strerror(fault.error)) + ": ";
        const std::set<std::string> open = OpenDescriptors();
        const long live = support::LiveBlocks();
        const std::size_t before = report.faults.size();
        std::size_t failed = Try(fault);
        report.injected += failed > 0 ? 1 : 0;
        if (report.faults.size() == before) {
            Check(support::LiveBlocks() == live, "leaks memory");
        }
        Check(OpenDescriptors() == open, "leaves a descriptor open, or closes one of others");
    }

    std::size_t Try(const support::CallFault& fault)
    {
        const Trial trial = operation.prepare();
        const std::string before = trial.state();
        support::FailCall(fault);
        const bool returned = Act(trial.act);
        const std::size_t failed = support::AllowCalls();
        const std::size_t badCloses = support::BadCloses();
        const std::string state = trial.state();
        Check(failed > 0, "no call failed");
        Check(returned, "throws");
        Check(badCloses == 0, "closes a descriptor twice");
        // A close that was interrupted may have lost what was written.
        const bool mayFail = (fault.error != EINTR && fault.error != SHORT) || fault.call == SYS_close ||
                             operation.readsThroughLibrary;
        const bool failedRight =
            mayFail && (state == before || (operation.documented && operation.documented(state, before)));
        Check(state == success || failedRight,
              "ends in the wrong way\nleft:    " + state + "\nbefore:  " + before + "\nsuccess: " + success);
        if (state != success) {
            Check(Act(NextCall(trial)), "the next call throws");
            Check(trial.state() == success, "the next call fails, too: " + trial.state());
        }
        return failed;
    }

    static bool Act(const std::function<void()>& act)
    {
        try {
            act();
            return true;
        } catch (const std::exception&) {
            return false;
        }
    }

    void Check(bool holds, const std::string& otherwise)
    {
        if (!holds) {
            report.faults.push_back(place + otherwise);
        }
    }

    const Operation& operation;
    SweepReport report;
    std::string success;
    std::string place;
};

}  // namespace

std::string CallsOf(const Operation& operation)
{
    StateAfterSuccess(operation);
    std::string text;
    for (const Calls& calls : CallsWithoutFault(operation)) {
        text +=
            (text.empty() ? "" : ", ") + std::string(calls.kind->name) + " " + std::to_string(calls.count);
    }
    return text;
}

SweepReport SweepCalls(const Operation& operation)
{
    return Sweep(operation).Run();
}

}  // namespace faults
