// SPDX-License-Identifier: MIT

#include "config/process_pattern.h"

#include <time.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <regex>
#include <stdexcept>
#include <vector>

#include "config/own_stack.h"

namespace process_pattern {
namespace {

// The executor recurses over states that consume no character, 150 to 300 bytes of stack for each, and with
// back-references over characters as well. Patterns with more states than these do not run on the caller's
// stack, of which a thread of the host may have no more than 256 KiB.
constexpr std::size_t MAX_STATES_ON_CALLER = 300;

// Stack that a match may use beyond where it began. It is looked at where characters are: beyond it there is
// room for all states of the largest pattern.
constexpr std::uintptr_t MAX_STACK = own_stack::BYTES / 4;

constexpr std::int64_t STEPS_BETWEEN_CLOCK_READS = 256;

/// Processor time of this thread: what a match takes does not depend on what else the machine is doing.
std::int64_t ThreadTimeNs()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::int64_t{time.tv_sec} * 1000000000 + time.tv_nsec;
}

/// What one match has left. The exception that ends a match passes through the library's executor.
struct Budget {
    std::int64_t steps = 0;
    std::int64_t startNs = ThreadTimeNs();
    std::uintptr_t stack = 0;
};

struct OutOfBudget : std::exception {};

/// Where the stack, which grows downwards, stands now.
std::uintptr_t StackTop()
{
    return reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
}

/// A character iterator that notes every look at a character and every copy that the executor makes of it,
/// and throws when the match has taken too many steps, too long, or too much stack.
class CountingIterator {
public:
    using iterator_category = std::bidirectional_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    CountingIterator() = default;
    CountingIterator(const char* start, Budget* matchBudget) : position(start), budget(matchBudget) {}
    CountingIterator(const CountingIterator& other) = default;
    CountingIterator& operator=(const CountingIterator& other)
    {
        position = other.position;
        budget = other.budget;
        if (budget != nullptr) {
            CheckStack();
        }
        return *this;
    }

    reference operator*() const
    {
        Count();
        return *position;
    }
    pointer operator->() const
    {
        Count();
        return position;
    }
    CountingIterator& operator++()
    {
        ++position;
        return *this;
    }
    CountingIterator operator++(int)
    {
        CountingIterator before = *this;
        ++position;
        return before;
    }
    CountingIterator& operator--()
    {
        --position;
        return *this;
    }
    CountingIterator operator--(int)
    {
        CountingIterator before = *this;
        --position;
        return before;
    }
    bool operator==(const CountingIterator& other) const { return position == other.position; }
    bool operator!=(const CountingIterator& other) const { return position != other.position; }

private:
    void Count() const
    {
        if (++budget->steps % STEPS_BETWEEN_CLOCK_READS == 0) {
            if (budget->steps > MAX_STEPS || ThreadTimeNs() - budget->startNs > MAX_DURATION_NS) {
                throw OutOfBudget();
            }
        }
        CheckStack();
    }

    void CheckStack() const
    {
        if (budget->stack - StackTop() > MAX_STACK) {
            throw OutOfBudget();
        }
    }

    const char* position = nullptr;
    Budget* budget = nullptr;
};

/// The size that the library's automaton will have, about: one state a character, repetitions written out.
/// Counts what it can without understanding the pattern fully; the library judges the syntax.
class Measure {
public:
    explicit Measure(const std::string& pattern) : text(pattern) { Walk(); }

    std::size_t States() const { return groups.front().states; }
    std::size_t Depth() const { return depth; }
    std::size_t BackrefDigits() const { return backrefDigits; }

private:
    struct Group {
        std::size_t states = 1;
        std::size_t last = 0;  // size of the atom that a quantifier would repeat
    };

    static std::size_t Clamp(std::size_t states) { return std::min<std::size_t>(states, 100 * MAX_STATES); }

    void Add(std::size_t states)
    {
        groups.back().last = states;
        groups.back().states = Clamp(groups.back().states + states);
    }

    void Repeat(std::size_t times)
    {
        Group& group = groups.back();
        group.states = Clamp(group.states + Clamp(group.last * (times > 0 ? times - 1 : 0)) + 2);
        group.last = Clamp(group.last * std::max<std::size_t>(times, 1) + 2);
    }

    void Close()
    {
        if (groups.size() > 1) {
            const std::size_t states = groups.back().states + 2;
            groups.pop_back();
            Add(states);
        }
    }

    void SkipBracket()
    {
        // A bracket begins after "[" and an optional "^"; a "]" there is literal.
        position += position + 1 < text.size() && text[position + 1] == '^' ? 2 : 1;
        while (++position < text.size() && text[position] != ']') {
            position += text[position] == '\\' ? 1 : 0;
        }
        Add(1);
    }

    void ReadBraces()
    {
        std::size_t number = 0;
        std::size_t largest = 1;
        while (++position < text.size() && text[position] != '}') {
            const char c = text[position];
            number = c >= '0' && c <= '9' ? Clamp(number * 10 + static_cast<std::size_t>(c - '0')) : 0;
            largest = std::max(largest, number);
        }
        Repeat(largest);
    }

    /// The character after a backslash, or all digits of a back-reference; "\0" is the character NUL.
    void ReadEscape()
    {
        const std::size_t begin = ++position;
        if (IsDigit(begin) && text[begin] != '0') {
            while (IsDigit(position + 1)) {
                ++position;
            }
            backrefDigits = std::max(backrefDigits, position - begin + 1);
        }
        Add(1);
    }

    bool IsDigit(std::size_t at) const { return at < text.size() && text[at] >= '0' && text[at] <= '9'; }

    void Walk()
    {
        groups.emplace_back();
        for (position = 0; position < text.size(); ++position) {
            switch (text[position]) {
                case '\\':
                    ReadEscape();
                    break;
                case '[':
                    SkipBracket();
                    break;
                case '(':
                    groups.emplace_back();
                    depth = std::max(depth, groups.size() - 1);
                    break;
                case ')':
                    Close();
                    break;
                case '{':
                    ReadBraces();
                    break;
                case '*':
                case '+':
                case '?':
                    Repeat(2);
                    break;
                default:
                    Add(1);
            }
        }
        while (groups.size() > 1) {
            Close();
        }
    }

    const std::string& text;
    std::size_t position = 0;
    std::size_t depth = 0;
    std::size_t backrefDigits = 0;
    std::vector<Group> groups;
};

/// Whether each byte means more than itself in a pattern. NUL is left to the library, which has its own view
/// of it.
constexpr std::array<bool, 256> MetaCharacters()
{
    std::array<bool, 256> meta{};
    for (const char c : "^$\\.*+?()[]{}|") {
        meta[static_cast<unsigned char>(c)] = true;
    }
    return meta;
}

bool IsLiteral(const std::string& pattern)
{
    static constexpr std::array<bool, 256> META = MetaCharacters();
    return std::none_of(pattern.begin(), pattern.end(),
                        [](char c) { return META[static_cast<unsigned char>(c)]; });
}

std::string OverLimit(const char* what, std::size_t value, std::size_t limit)
{
    return std::string("the pattern has ") + what + " " + std::to_string(value) + ", at most " +
           std::to_string(limit) + " are allowed";
}

/// Empty when the pattern may be given to the library at all.
std::string LimitRefusal(const std::string& pattern, const Measure& measure)
{
    if (pattern.size() > MAX_LENGTH) {
        return OverLimit("a length of", pattern.size(), MAX_LENGTH);
    }
    if (measure.Depth() > MAX_DEPTH) {
        return OverLimit("a depth of nested groups of", measure.Depth(), MAX_DEPTH);
    }
    if (measure.BackrefDigits() > MAX_BACKREF_DIGITS) {
        return OverLimit("a back-reference whose number of digits is", measure.BackrefDigits(),
                         MAX_BACKREF_DIGITS);
    }
    if (measure.States() > MAX_STATES) {
        return OverLimit("a size, its repetitions written out, of about", measure.States(), MAX_STATES);
    }
    return "";
}

/// A compiled pattern and whether it has back-references. std::regex_error when it does not compile.
struct Compiled {
    explicit Compiled(const std::string& pattern)
    {
        regex.imbue(std::locale::classic());
        // The executor that works breadth first does not recurse on the subject; it refuses back-references.
        try {
            regex.assign(pattern, std::regex::ECMAScript | std::regex_constants::__polynomial);
        } catch (const std::regex_error& error) {
            if (error.code() != std::regex_constants::error_complexity) {
                throw;
            }
            regex.assign(pattern, std::regex::ECMAScript);
            backReferences = true;
        }
    }

    std::regex regex;
    bool backReferences = false;
};

bool Match(const Compiled& compiled, const std::string& subject)
{
    if (compiled.backReferences && subject.size() > MAX_BACKREF_SUBJECT) {
        return false;
    }
    Budget budget;
    budget.stack = StackTop();
    const char* const begin = subject.data();
    return std::regex_match(CountingIterator(begin, &budget),
                            CountingIterator(begin + subject.size(), &budget), compiled.regex);
}

/// One question, for whichever stack answers it.
struct Question {
    const std::string& pattern;
    const std::string& subject;
    bool matches = false;
};

void Answer(void* argument) noexcept
{
    auto* const question = static_cast<Question*>(argument);
    try {
        question->matches = Match(Compiled(question->pattern), question->subject);
    } catch (...) {  // does not compile, out of budget, out of memory
        question->matches = false;
    }
}

bool FitsOnCaller(const Measure& measure)
{
    return measure.States() <= MAX_STATES_ON_CALLER && measure.BackrefDigits() == 0;
}

}  // namespace

bool FullMatch(const std::string& pattern, const std::string& subject) noexcept
{
    try {
        if (pattern.size() > MAX_LENGTH) {
            return false;
        }
        if (IsLiteral(pattern)) {
            return pattern == subject;
        }
        const Measure measure(pattern);
        if (!LimitRefusal(pattern, measure).empty()) {
            return false;
        }
        Question question = {pattern, subject};
        if (FitsOnCaller(measure)) {
            Answer(&question);
        } else if (!own_stack::Run(Answer, &question)) {
            return false;
        }
        return question.matches;
    } catch (...) {  // out of memory
        return false;
    }
}

std::string Refusal(const std::string& pattern)
{
    std::string refusal = LimitRefusal(pattern, Measure(pattern));
    if (!refusal.empty() || IsLiteral(pattern)) {
        return refusal;
    }
    try {
        const Compiled compiled(pattern);
    } catch (const std::regex_error& error) {
        return std::string("the pattern does not compile: ") + error.what();
    }
    return "";
}

}  // namespace process_pattern
