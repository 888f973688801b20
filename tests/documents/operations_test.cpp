// SPDX-License-Identifier: MIT
//
// docs/operations.md quotes messages, paths and variables of the programs: what it quotes has to exist.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;
using Texts = std::vector<std::string>;

std::string ReadAll(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

bool IsCapital(char c)
{
    return c >= 'A' && c <= 'Z';
}

bool IsPlaceholderChar(char c)
{
    return IsCapital(c) || (c >= '0' && c <= '9') || c == '_';
}

/// The text of a source with its string literals joined where they follow each other, and their escapes
/// resolved.
std::string Literals(const std::string& source)
{
    std::string text;
    for (std::size_t at = 0; at < source.size(); ++at) {
        if (source[at] == '\\' && at + 1 < source.size()) {
            text += source[++at];
            continue;
        }
        if (source[at] == '"') {
            const std::size_t next = source.find_first_not_of(" \n", at + 1);
            if (next != std::string::npos && next > at + 1 && source[next] == '"') {
                at = next;  // one literal ends, the next begins
                continue;
            }
        }
        text += source[at];
    }
    return text;
}

const std::string& AllSources()
{
    static const std::string text = [] {
        std::string all;
        for (const char* room : {"common", "config", "host", "tools"}) {
            for (const fs::directory_entry& entry :
                 fs::recursive_directory_iterator(fs::path(SOURCE_DIR) / room)) {
                if (entry.path().extension() == ".cpp" || entry.path().extension() == ".h") {
                    all += Literals(ReadAll(entry.path())) + "\n";
                }
            }
        }
        return all;
    }();
    return text;
}

/// What a message has beside its placeholders, words of capitals: pieces of at least four characters.
Texts FixedParts(const std::string& message)
{
    Texts parts;
    std::string part;
    for (std::size_t at = 0; at <= message.size(); ++at) {
        std::size_t end = at;
        while (end < message.size() && IsPlaceholderChar(message[end])) {
            ++end;
        }
        const bool isWord = end > at && IsCapital(message[at]) &&
                            (end == message.size() || message[end] < 'a' || message[end] > 'z');
        if (isWord || at == message.size()) {
            if (part.size() >= 4) {
                parts.push_back(part);
            }
            part.clear();
            at = isWord ? end - 1 : at;
        } else {
            part += message[at];
        }
    }
    return parts;
}

/// The first cells of the table under "## Messages", without their quotes.
Texts QuotedMessages(const std::string& document)
{
    Texts messages;
    const std::string row = "\n| `";
    for (std::size_t at = document.find(row, document.find("\n## Messages\n")); at != std::string::npos;
         at = document.find(row, at + 1)) {
        const std::size_t begin = at + row.size();
        messages.push_back(document.substr(begin, document.find("` |", begin) - begin));
    }
    return messages;
}

/// The words with a prefix that end at the first character that is no part of a name.
Texts Words(const std::string& document, const std::string& prefix)
{
    Texts words;
    for (std::size_t at = document.find(prefix); at != std::string::npos;
         at = document.find(prefix, at + 1)) {
        const auto begin = document.begin() + static_cast<std::ptrdiff_t>(at);
        words.emplace_back(begin, std::find_if_not(begin, document.end(), IsPlaceholderChar));
    }
    return words;
}

std::string Document()
{
    return ReadAll(fs::path(SOURCE_DIR) / "docs/operations.md");
}

TEST(Operations, EveryMessageOfTheTableExists)
{
    const Texts messages = QuotedMessages(Document());
    EXPECT_GE(messages.size(), 30U);
    for (const std::string& message : messages) {
        const Texts parts = FixedParts(message);
        EXPECT_FALSE(parts.empty()) << message;
        for (const std::string& part : parts) {
            EXPECT_NE(AllSources().find(part), std::string::npos)
                << message << "\n  no source says: " << part;
        }
    }
}

TEST(Operations, EveryVariableExists)
{
    const Texts ours = Words(Document(), "TARNIX_");
    EXPECT_GE(ours.size(), 5U);
    const std::string known = AllSources() + ReadAll(fs::path(SOURCE_DIR) / "packaging/default/tarnix") +
                              ReadAll(fs::path(SOURCE_DIR) / "packaging/default/tnstat-exporter");
    for (const std::string& name : ours) {
        EXPECT_NE(known.find(name), std::string::npos) << name;
    }
    for (const std::string& name : Words(Document(), "TNSTAT_")) {
        EXPECT_NE(known.find(name), std::string::npos) << name;
    }
}

TEST(Operations, EveryDocumentItRefersToExists)
{
    const std::string document = Document();
    std::size_t links = 0;
    for (std::size_t at = document.find("]("); at != std::string::npos; at = document.find("](", at + 1)) {
        const std::string target = document.substr(at + 2, document.find(')', at) - at - 2);
        if (target.front() != '#') {
            ++links;
            EXPECT_TRUE(fs::exists(fs::path(SOURCE_DIR) / "docs" / target.substr(0, target.find('#'))))
                << target;
        }
    }
    EXPECT_GE(links, 5U);
}

TEST(OperationsTestItself, TellsPlaceholdersFromWords)
{
    EXPECT_EQ(FixedParts("cannot lock PATH: REASON"), Texts{"cannot lock "});
    EXPECT_EQ(FixedParts("Failed to open file: PATH"), Texts{"Failed to open file: "});
    EXPECT_EQ(FixedParts("holds N bytes, expected 1248"), (Texts{"holds ", " bytes, expected 1248"}));
    EXPECT_EQ(Literals("f(\"one \"\n    \"two\", \"three\");"), "f(\"one two\", \"three\");");
    EXPECT_EQ(Literals(R"("a \"b\" c")"), "\"a \"b\" c\"");
    EXPECT_EQ(AllSources().find("no source says this"), std::string::npos);
}

}  // namespace
