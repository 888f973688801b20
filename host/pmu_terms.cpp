// SPDX-License-Identifier: MIT

#include "host/pmu_terms.h"

#include <algorithm>
#include <charconv>

#include "host/escape.h"
#include "host/text_file.h"

namespace host {
namespace {

constexpr std::array<std::string_view, 3> WORD_NAMES = {"config", "config1", "config2"};
constexpr unsigned WORD_BITS = 64;

std::string Quote(std::string_view text)
{
    return "'" + EscapeText(text, 96) + "'";
}

std::string Hex(std::uint64_t value)
{
    char digits[16];
    const auto [end, code] = std::to_chars(digits, digits + sizeof(digits), value, 16);
    return code == std::errc() ? "0x" + std::string(digits, end) : std::string("0x?");
}

std::string FormatMessage(std::string_view text, const std::string& expected)
{
    return "format " + Quote(text) + ": expected " + expected + "; a format reads like config:0-7,32-35";
}

std::string TermMessage(std::string_view text, std::string_view term, const std::string& expected)
{
    return "event " + Quote(text) + ": term " + Quote(term) + ": expected " + expected;
}

std::string TooLongMessage(std::string_view text)
{
    return "event " + Quote(text) + ": more than " + std::to_string(MAX_TERMS) + " terms or " +
           std::to_string(MAX_TERM_TEXT) + " bytes";
}

std::string NoTermsMessage(std::string_view text)
{
    return "event " + Quote(text) + ": expected at least one term, for example event=0x1";
}

std::string SpecMessage(std::string_view text, const std::string& problem)
{
    return "event " + Quote(text) + ": " + problem + ", expected PMU/event/ or PMU/term=value,.../";
}

std::string UserValueMessage(std::string_view text, std::string_view term)
{
    return "event " + Quote(text) + ": term " + Quote(term) + " needs a number in place of '?'";
}

std::string TwiceMessage(std::string_view text, std::string_view term)
{
    return "event " + Quote(text) + ": term " + Quote(term) + " is given twice, give it once";
}

std::string NeedsValueMessage(const std::string& owner, const std::string& term)
{
    return "event " + Quote(owner) + ": term " + Quote(term) + " needs a value, write " +
           EscapeText(term, 96) + "=VALUE after the name of the event, as in PMU/event," +
           EscapeText(term, 96) + "=VALUE/";
}

std::string TooWideMessage(const std::string& owner, const EventTerm& term, unsigned bits, std::uint64_t most)
{
    return "event " + Quote(owner) + ": term " + Quote(term.name) + ": the value " + Hex(*term.value) +
           " does not fit into its " + std::to_string(bits) + " bits, the largest is " + Hex(most);
}

std::string UnknownTermMessage(const std::string& owner, const std::string& term,
                               const std::vector<FormatTerm>& formats)
{
    std::string known;
    for (const FormatTerm& format : formats) {
        known += EscapeText(format.name, 64) + ", ";
        if (known.size() > 300) {
            known += "..., ";
            break;
        }
    }
    return "event " + Quote(owner) + ": the PMU has no event and no term " + Quote(term) +
           ", its terms are " + known + "config, config1, config2";
}

/// Calls `use` with every part between separators until it answers false.
template <typename Use>
bool ForEachPart(std::string_view text, char separator, Use use)
{
    while (true) {
        const std::size_t end = text.find(separator);
        if (!use(text.substr(0, end))) {
            return false;
        }
        if (end == std::string_view::npos) {
            return true;
        }
        text.remove_prefix(end + 1);
    }
}

bool ParseNumber(std::string_view text, int base, std::uint64_t& value)
{
    const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    return code == std::errc() && end == text.data() + text.size();
}

bool ParseValue(std::string_view text, std::uint64_t& value)
{
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        return ParseNumber(text.substr(2), 16, value);
    }
    return ParseNumber(text, 10, value);
}

/// Bits `first` to `last` of a word, both below 64.
std::uint64_t BitMask(std::uint64_t first, std::uint64_t last)
{
    return (~std::uint64_t{0} >> (WORD_BITS - 1 - (last - first))) << first;
}

bool ParseBits(std::string_view text, std::uint64_t& mask)
{
    const std::size_t dash = text.find('-');
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    if (!ParseNumber(text.substr(0, dash), 10, first)) {
        return false;
    }
    last = first;
    if (dash != std::string_view::npos && !ParseNumber(text.substr(dash + 1), 10, last)) {
        return false;
    }
    if (last < first || last >= WORD_BITS) {
        return false;
    }
    mask |= BitMask(first, last);
    return true;
}

std::size_t WordIndex(std::string_view name)
{
    const auto* const found = std::find(WORD_NAMES.begin(), WORD_NAMES.end(), name);
    return static_cast<std::size_t>(found - WORD_NAMES.begin());
}

unsigned CountBits(std::uint64_t mask)
{
    unsigned bits = 0;
    for (; mask != 0; mask &= mask - 1) {
        ++bits;
    }
    return bits;
}

/// Spreads the low bits of `value` over the bits that are set in `mask`.
std::uint64_t Deposit(std::uint64_t value, std::uint64_t mask)
{
    std::uint64_t result = 0;
    for (; mask != 0; mask &= mask - 1, value >>= 1U) {
        if ((value & 1U) != 0) {
            result |= mask & (~mask + 1);
        }
    }
    return result;
}

/// One term; `whole` is the text it comes from, for the message.
std::string ParseTerm(std::string_view whole, std::string_view text, EventTerm& term)
{
    const std::size_t equals = text.find('=');
    const std::string_view name = TrimText(text.substr(0, equals));
    if (!IsPmuName(name)) {
        return TermMessage(whole, text, "a name of letters, digits and signs without '/', ',' and '='");
    }
    term.name = std::string(name);
    if (equals == std::string_view::npos) {
        term.bare = true;
        term.value = 1;
        return {};
    }
    const std::string_view number = TrimText(text.substr(equals + 1));
    if (number == "?") {
        return {};
    }
    std::uint64_t value = 0;
    if (!ParseValue(number, value)) {
        return TermMessage(whole, text, "a number of at most 64 bits, decimal or after 0x hexadecimal");
    }
    term.value = value;
    return {};
}

EventTermsResult ParseTerms(std::string_view whole, std::string_view text)
{
    EventTermsResult result;
    if (text.size() > MAX_TERM_TEXT) {
        result.error = TooLongMessage(whole);
        return result;
    }
    if (text.empty()) {
        result.error = NoTermsMessage(whole);
        return result;
    }
    ForEachPart(text, ',', [&](std::string_view part) {
        if (result.terms.size() == MAX_TERMS) {
            result.error = TooLongMessage(whole);
            return false;
        }
        EventTerm term;
        result.error = ParseTerm(whole, part, term);
        result.terms.push_back(std::move(term));
        return result.error.empty();
    });
    if (!result.error.empty()) {
        result.terms.clear();
    }
    return result;
}

bool ComesLater(const std::vector<EventTerm>& terms, std::size_t index)
{
    return std::any_of(terms.begin() + static_cast<std::ptrdiff_t>(index) + 1, terms.end(),
                       [&](const EventTerm& later) { return later.name == terms[index].name; });
}

}  // namespace

bool IsPmuName(std::string_view name)
{
    if (name.empty() || name.size() > 255 || name == "." || name == "..") {
        return false;
    }
    return std::all_of(name.begin(), name.end(),
                       [](char c) { return c > ' ' && c <= '~' && c != '/' && c != ',' && c != '='; });
}

FormatTerm ParseFormat(std::string_view name, std::string_view text)
{
    FormatTerm term;
    term.name = std::string(name);
    const std::string_view format = TrimText(text);
    const std::size_t colon = format.find(':');
    term.word = WordIndex(format.substr(0, colon));
    if (colon == std::string_view::npos || term.word == WORD_NAMES.size()) {
        term.word = 0;
        term.error = FormatMessage(format, "config, config1 or config2 and ':'");
        return term;
    }
    const bool good = ForEachPart(format.substr(colon + 1), ',',
                                  [&](std::string_view part) { return ParseBits(part, term.mask); });
    if (!good) {
        term.mask = 0;
        term.error = FormatMessage(format, "bits from 0 to 63 or ranges of them");
    }
    return term;
}

EventTermsResult ParseEventTerms(std::string_view text)
{
    const std::string_view event = TrimText(text);
    return ParseTerms(event, event);
}

EventSelectorResult ParseEventSelector(std::string_view text)
{
    EventSelectorResult result;
    const std::size_t slash = text.find('/');
    if (slash == std::string_view::npos) {
        result.error = SpecMessage(text, "no '/' after the PMU");
        return result;
    }
    const std::string_view pmu = text.substr(0, slash);
    if (!IsPmuName(pmu)) {
        result.error = SpecMessage(text, Quote(pmu) + " cannot be the name of a PMU");
        return result;
    }
    std::string_view body = text.substr(slash + 1);
    const std::size_t end = body.find('/');
    if (end == std::string_view::npos) {
        result.error = SpecMessage(text, "no '/' at the end");
        return result;
    }
    if (end + 1 != body.size()) {
        result.error = SpecMessage(text, "text after the second '/'");
        return result;
    }
    body.remove_suffix(1);
    EventTermsResult parsed = ParseTerms(text, body);
    if (!parsed.error.empty()) {
        result.error = std::move(parsed.error);
        return result;
    }
    for (std::size_t i = 0; i < parsed.terms.size(); ++i) {
        if (!parsed.terms[i].value) {
            result.error = UserValueMessage(text, parsed.terms[i].name);
            return result;
        }
        if (ComesLater(parsed.terms, i)) {
            result.error = TwiceMessage(text, parsed.terms[i].name);
            return result;
        }
    }
    result.selector.pmu = std::string(pmu);
    result.selector.terms = std::move(parsed.terms);
    return result;
}

EventConfigResult EncodeTerms(const std::vector<EventTerm>& terms, const std::vector<FormatTerm>& formats,
                              const std::string& owner)
{
    EventConfigResult result;
    EventConfig config;
    for (std::size_t i = 0; i < terms.size(); ++i) {
        const EventTerm& term = terms[i];
        if (ComesLater(terms, i)) {
            continue;
        }
        if (!term.value) {
            result.error = NeedsValueMessage(owner, term.name);
            return result;
        }
        const std::size_t word = WordIndex(term.name);
        if (word < WORD_NAMES.size()) {
            config.words[word] |= *term.value;
            continue;
        }
        const auto format = std::find_if(formats.begin(), formats.end(),
                                         [&](const FormatTerm& f) { return f.name == term.name; });
        if (format == formats.end()) {
            result.error = UnknownTermMessage(owner, term.name, formats);
            return result;
        }
        if (!format->error.empty()) {
            result.error = format->error;
            return result;
        }
        const unsigned bits = CountBits(format->mask);
        const std::uint64_t most = bits == WORD_BITS ? ~std::uint64_t{0} : (std::uint64_t{1} << bits) - 1;
        if (*term.value > most) {
            result.error = TooWideMessage(owner, term, bits, most);
            return result;
        }
        config.words[format->word] |= Deposit(*term.value, format->mask);
    }
    result.config = config;
    return result;
}

}  // namespace host
