// SPDX-License-Identifier: MIT

#ifndef HOST_PMU_TERMS_H
#define HOST_PMU_TERMS_H

#include <cstddef>
#include <cstdint>

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace host {

/// Most terms in one event, most bytes in one text of this grammar.
constexpr std::size_t MAX_TERMS = 64;
constexpr std::size_t MAX_TERM_TEXT = 4096;

/// The configuration words of an event: config, config1, config2.
struct EventConfig {
    std::array<std::uint64_t, 3> words{};
};

/// One file of a PMU's format directory: where the bits of a term go.
struct FormatTerm {
    std::string name;
    std::size_t word = 0;    ///< index into EventConfig::words
    std::uint64_t mask = 0;  ///< bits of that word; the lowest bit of a value goes to the lowest bit set here
    std::string error;       ///< not empty: the file could not be understood, the term cannot be used
};

/// One term of an event: "name=value", a bare "name", or "name=?", which somebody has to give a value.
struct EventTerm {
    std::string name;
    std::optional<std::uint64_t> value;  ///< 1 for a bare name; nothing for "name=?"
    bool bare = false;
};

/// Terms in the order of the text, or one line that says what is wrong.
struct EventTermsResult {
    std::vector<EventTerm> terms;
    std::string error;
};

/// An event as a user names it: "PMU/event/" or "PMU/term=value,.../".
struct EventSelector {
    std::string pmu;
    std::vector<EventTerm> terms;  ///< at least one; a bare name may be an event or a term
};

struct EventSelectorResult {
    EventSelector selector;
    std::string error;
};

struct EventConfigResult {
    EventConfig config;
    std::string error;
};

/// True for what may name a PMU, an event or a term: 1 to 255 visible ASCII characters without '/', ',' and
/// '=', and neither "." nor "..". Such a name never leads out of the directory it is looked up in.
bool IsPmuName(std::string_view name);

/// Parses the content of format file `name`: "config:0-7,32-35", "config1:0". Ranges may come in any order
/// and overlap; bits count once.
FormatTerm ParseFormat(std::string_view name, std::string_view text);

/// Parses the content of an event file, "event=0x2c,umask=0x1". Values are decimal or, after 0x, hexadecimal.
EventTermsResult ParseEventTerms(std::string_view text);

/// Parses what a user wrote. A term "name=?" is refused here: a user gives values.
EventSelectorResult ParseEventSelector(std::string_view text);

/// Puts the values of `terms` into configuration words. The terms config, config1 and config2 set a whole
/// word and need no format; every other one must be in `formats`, and its value must fit. When a name comes
/// twice, the later value counts. `owner` names the event in messages.
EventConfigResult EncodeTerms(const std::vector<EventTerm>& terms, const std::vector<FormatTerm>& formats,
                              const std::string& owner);

}  // namespace host

#endif  // HOST_PMU_TERMS_H
