// SPDX-License-Identifier: MIT
//
// Any text as a list of patterns on the command line, against a plain splitter and the splitter's own rules.

#include <cstddef>
#include <cstdint>

#include <algorithm>
#include <string>
#include <unordered_set>
#include <vector>

#include "config/value_readers.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/require.h"

namespace {

using fuzz::Require;

/// The same rule another way: where each piece begins and ends first, then its backslashes.
std::vector<std::string> PlainSplit(const std::string& text)
{
    std::vector<std::string> raw(1);
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == ',') {
            raw.emplace_back();
            continue;
        }
        raw.back() += text[i];
        if (text[i] == '\\' && i + 1 < text.size()) {
            raw.back() += text[++i];
        }
    }
    std::vector<std::string> pieces;
    for (const std::string& escaped : raw) {
        std::string piece;
        for (std::size_t i = 0; i < escaped.size(); ++i) {
            const bool escape = escaped[i] == '\\';
            if (!escape || i + 1 < escaped.size()) {
                piece += escaped[escape ? ++i : i];
            }
        }
        if (!piece.empty()) {
            pieces.push_back(piece);
        }
    }
    return pieces;
}

/// A list that splits into `pieces` again.
std::string Join(const std::vector<std::string>& pieces)
{
    std::string text;
    for (const std::string& piece : pieces) {
        text += text.empty() ? "" : ",";
        for (const char c : piece) {
            text += c == ',' || c == '\\' ? "\\" : "";
            text += c;
        }
    }
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(fuzz::TextOf(data, size));
    const std::vector<std::string> pieces = ParseRegexesVector(text);
    Require(pieces == PlainSplit(text), "the plain splitter agrees");
    Require(ParseRegexesVector(Join(pieces)) == pieces, "pieces joined split into the same");

    const std::unordered_set<std::string> kept = {"kept"};
    std::unordered_set<std::string> stored = kept;
    const TnResult result = CommonParseRegexesSet({ParseStage::CMDLINE, {}, text}, "whitelist", stored);
    Require(result.code == (pieces.empty() ? 1 : 0), "a list without a piece fails");
    if (result.code != 0) {
        Require(result.message == "whitelist params without vaild value" && stored == kept,
                "a failure says so and stores nothing");
        return 0;
    }
    Require(result.message.empty(), "a success has nothing to say");
    Require(stored == std::unordered_set<std::string>(pieces.begin(), pieces.end()), "the pieces are stored");
    return 0;
}
