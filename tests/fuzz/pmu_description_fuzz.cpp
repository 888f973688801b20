// SPDX-License-Identifier: MIT
//
// What the kernel or a user says about a PMU: lists of CPUs, format files, event files, --map targets. The
// input is these four texts with a zero byte between them; an input of one text stands for all four. Beyond
// not crashing: messages are one clean line, lists read back as they are written, values land on the bits of
// their format and nowhere else.

#include <cstddef>
#include <cstdint>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "host/cpu_list.h"
#include "host/pmu_terms.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/require.h"

namespace {

using fuzz::Require;

void CheckMessage(const std::string& message)
{
    Require(message.size() < 2048, "a message is short");
    Require(std::none_of(message.begin(), message.end(),
                         [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }),
            "a message is one line without control bytes");
}

void CheckCpuList(std::string_view text)
{
    const host::CpuListResult list = host::ParseCpuList(text);
    CheckMessage(list.error);
    Require(list.error.empty() || list.cpus.empty(), "a faulty list names no CPU");
    for (std::size_t i = 1; i < list.cpus.size(); ++i) {
        Require(list.cpus[i - 1] < list.cpus[i], "CPUs ascend");
    }
    if (list.cpus.empty()) {
        return;
    }
    Require(list.cpus.back() <= host::MAX_CPU, "CPUs are bounded");
    if (list.cpus.back() < 1024 || fuzz::Thorough(text, 64)) {
        Require(host::ParseCpuList(host::FormatCpuList(list.cpus)).cpus == list.cpus,
                "a list survives formatting");
    }
}

void CheckTerms(const std::vector<host::EventTerm>& terms, const host::FormatTerm& format)
{
    Require(terms.size() <= host::MAX_TERMS, "terms are bounded");
    constexpr std::array<std::string_view, 3> WORDS = {"config", "config1", "config2"};
    std::vector<host::FormatTerm> formats;
    std::array<std::uint64_t, 3> allowed{};
    for (const host::EventTerm& term : terms) {
        Require(host::IsPmuName(term.name), "a term stays inside its directory");
        const auto* const word = std::find(WORDS.begin(), WORDS.end(), term.name);
        if (word != WORDS.end()) {
            allowed[static_cast<std::size_t>(word - WORDS.begin())] = ~std::uint64_t{0};
            continue;
        }
        formats.push_back(format);
        formats.back().name = term.name;
    }
    if (!formats.empty()) {
        allowed[format.word] |= format.mask;
    }
    const host::EventConfigResult result = host::EncodeTerms(terms, formats, "pmu/event/");
    CheckMessage(result.error);
    for (std::size_t word = 0; word < allowed.size(); ++word) {
        Require((result.config.words[word] & ~allowed[word]) == 0, "values stay on the bits of their format");
        Require(result.error.empty() || result.config.words[word] == 0, "a refused event has no words");
    }
    CheckMessage(host::EncodeTerms(terms, {}, "pmu/event/").error);
}

std::array<std::string_view, 4> SplitInput(std::string_view input)
{
    std::array<std::string_view, 4> texts;
    if (input.find('\0') == std::string_view::npos) {
        texts.fill(input);
        return texts;
    }
    for (std::string_view& text : texts) {
        text = input.substr(0, input.find('\0'));
        input.remove_prefix(std::min(text.size() + 1, input.size()));
    }
    return texts;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto texts = SplitInput(fuzz::TextOf(data, size));
    CheckCpuList(texts[0]);

    const host::FormatTerm format = host::ParseFormat("term", texts[1]);
    CheckMessage(format.error);
    Require(format.error.empty() == (format.mask != 0), "a format has bits or an error");
    Require(format.word < 3, "a format names one of three words");

    const host::EventTermsResult event = host::ParseEventTerms(texts[2]);
    CheckMessage(event.error);
    Require(event.error.empty() != event.terms.empty(), "an event has terms or an error");
    CheckTerms(event.terms, format);

    const host::EventSelectorResult selector = host::ParseEventSelector(texts[3]);
    CheckMessage(selector.error);
    Require(selector.error.empty() != selector.selector.terms.empty(), "a selector has terms or an error");
    if (selector.error.empty()) {
        Require(host::IsPmuName(selector.selector.pmu), "the PMU of a selector stays inside its directory");
        CheckTerms(selector.selector.terms, format);
    }
    return 0;
}
