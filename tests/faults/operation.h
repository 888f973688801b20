// SPDX-License-Identifier: MIT

#ifndef TESTS_FAULTS_OPERATION_H
#define TESTS_FAULTS_OPERATION_H

#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "config/option.h"
#include "config/tn_result.h"

/// Every exported operation in a form in which faults can be put into it.
namespace faults {

/// One run of an operation.
struct Trial {
    std::function<void()> act;
    std::function<std::string()> state;  ///< its result and everything it may change, as text
    /// After a failure: what leads to the state of a success. Null: `act` once more.
    std::function<void()> again = nullptr;
};

/// What the operation does when memory runs out.
enum class Memory {
    NONE,     ///< it allocates nothing
    REPORTS,  ///< its result tells; nothing is thrown
    THROWS,   ///< std::bad_alloc may leave it
};

struct Operation {
    std::string name;  ///< as exported: "Class::Operation", or with the template argument
    Memory memory = Memory::NONE;
    std::function<Trial()> prepare;
    /// Whether a failure may leave `state`, where it was `before`. What is as before is always allowed.
    std::function<bool(const std::string& state, const std::string& before)> documented;
    /// It asks the C library, which takes the first piece of a file for the whole.
    bool readsThroughLibrary = false;
};

inline std::ostream& operator<<(std::ostream& out, const Operation& operation)
{
    return out << operation.name;
}

using Operations = std::vector<Operation>;

Operations ScenarioOperations();
Operations LoggerOperations();
Operations ServiceOperations();
Operations WatchdogOperations();
Operations ProbeOperations();
Operations ReaderOperations();
Operations OptionOperations();
Operations ControllerOperations();

/// All of them.
Operations AllOperations();

// Results as text; a TnResult is one line.
std::string Text(const std::string& text);
std::string Text(const TnResult& result);
std::string Text(const std::vector<std::string>& texts);
std::string Text(const Option& opt);
std::string Text(const ProcConf& entry);
template <typename T>
std::string Text(const T& number)
{
    return std::to_string(number);
}

/// An operation that has a result and changes nothing; `failures` are the results of a failure.
template <typename Call>
Operation Returning(std::string name, Memory memory, Call call, std::vector<std::string> failures = {})
{
    using Result = std::decay_t<decltype(call())>;
    return {std::move(name), memory,
            [call] {
                auto result = std::make_shared<std::optional<Result>>();
                return Trial{[call, result] { *result = call(); },
                             [result] { return result->has_value() ? Text(**result) : "no result"; }};
            },
            [failures](const std::string& state, const std::string& /*before*/) {
                for (const std::string& failure : failures) {
                    if (state == failure) {
                        return true;
                    }
                }
                return false;
            }};
}

/// A failure that a TnResult at the beginning of the state tells and that leaves the rest as it was.
bool FailedUnchanged(const std::string& state, const std::string& before);

/// A failure that a TnResult at the beginning of the state tells; the rest may be half done.
bool FailedHalfWay(const std::string& state, const std::string& before);

/// Any state at all, as long as the next call succeeds.
bool AnyState(const std::string& state, const std::string& before);

}  // namespace faults

#endif  // TESTS_FAULTS_OPERATION_H
