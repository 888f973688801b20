// SPDX-License-Identifier: MIT
//
// What a file of at most one mebibyte may cost, however it is made: the memory of a fresh process that reads
// it is bounded, and its time is reported. Nor does memory grow from one load to the next.

#include <chrono>
#include <cstdio>
#include <functional>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "config/conf_ctl.h"
#include "tests/support/child_run.h"
#include "tests/support/conf_text.h"
#include "tests/support/own_directory.h"
#include "tests/support/sanitized.h"

namespace {

constexpr std::size_t MEBIBYTE = 1U << 20U;

/// Why the memory of this process says nothing about the code's own; empty when it does.
std::string NoMemoryFigures()
{
#if TESTS_SANITIZED
    return "memory is not judged: a sanitizer keeps released blocks and its own records; its leak check "
           "judges";
#elif defined(__aarch64__)
    // Under qemu-user the figures are the emulator's, translated code included.
    return "memory is not judged: this machine may be emulated, and the figures the emulator's";
#else
    return "";
#endif
}

/// A line of /proc/self/status, in KiB.
long StatusKib(const std::string& field)
{
    const std::string text = support::FileText("/proc/self/status");
    const std::size_t at = text.find("\n" + field + ":");
    return at == std::string::npos ? -1 : std::stol(text.substr(at + field.size() + 2));
}

std::string Repeated(const std::string& text, std::size_t count)
{
    std::string all;
    all.reserve(text.size() * count);
    for (std::size_t i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

/// As many of it as fit beside `rest` bytes.
std::string Filled(const std::string& text, std::size_t rest)
{
    return Repeated(text, (MEBIBYTE - rest) / text.size());
}

/// Each level names the one before ten times.
std::string Laughs(const std::string& key)
{
    std::string text = "a0: &a0 [x, x, x, x, x, x, x, x, x, x]\n";
    for (int level = 1; level < 9; ++level) {
        const std::string before = "*a" + std::to_string(level - 1);
        text += "a" + std::to_string(level) + ": &a" + std::to_string(level) + " [" + before +
                Repeated("," + before, 9) + "]\n";
    }
    return text + key + ": *a8\n";
}

struct CostCase {
    std::string name;
    std::function<std::string()> text;
    std::string message;  ///< its beginning
};

void PrintTo(const CostCase& row, std::ostream* out)
{
    *out << row.name;
}

const char* const LOADED = "f.yaml parse success.";
const char* const LOADING = "YAML loading error: ";
const char* const TOO_MANY_NODES =
    "YAML loading error: the file has more than 300000 scalars, lists and mappings";

const std::vector<CostCase> CASES = {
    {"DeepSequence", [] { return std::string(100000, '['); }, LOADING},
    {"DeepClosedSequence", [] { return std::string(100000, '[') + std::string(100000, ']'); }, LOADING},
    {"DeepMapping", [] { return Repeated("{a: ", 100000); }, LOADING},
    {"DeepBlockSequence", [] { return Repeated("- ", 100000) + "a"; }, LOADING},
    {"DeepComplexKey", [] { return Repeated("? ", 100000) + "a"; }, LOADING},
    {"DeepUnderAKey", [] { return "group: " + std::string(100000, '['); }, LOADING},
    {"LaughsAsWhitelist", [] { return Laughs("whitelist"); }, "whitelist is not a sequence"},
    {"LaughsAsGroup", [] { return Laughs("group"); }, "group is not a sequence"},
    {"LaughsAsRatio", [] { return Laughs("numa-ratio"); }, LOADED},
    {"LaughsAsProcess", [] { return Laughs("process"); }, "process"},
    {"LaughsAsText", [] { return Laughs("log-level"); }, "log-level is not a scalar"},
    {"LaughsUnderNoOption", [] { return Laughs("other"); }, LOADED},
    {"GroupOfOneList",
     [] { return "a: &a [" + Repeated("x,", 4000) + "x]\ngroup: [" + Repeated("*a,", 4000) + "*a]\n"; },
     "group has more than 65536 items"},
    {"GroupOfItsOwnList", [] { return "group: &g [" + Repeated("*g, ", 4000) + "[a]]\n"; },
     "group is not a sequence"},
    {"LongTextOftenInAList",
     [] { return "a: &a " + std::string(500000, 'x') + "\nwhitelist: [" + Repeated("*a,", 60000) + "*a]\n"; },
     "whitelist has more than 4194304 bytes of text"},
    {"LongTextOftenInGroups",
     [] { return "a: &a " + std::string(500000, 'x') + "\ngroup: [[" + Repeated("*a],[", 60000) + "b]]\n"; },
     "group has more than 4194304 bytes of text"},
    {"LongTextOftenInEntries",
     [] {
         return "a: &a {name: b, params-regex: " + std::string(500000, 'x') + "}\nprocess: [" +
                Repeated("*a,", 60000) + "*a]\n";
     },
     "process has more than 4194304 bytes of text"},
    {"LongEntryOften",
     [] {
         std::string keys;
         for (int i = 0; i < 60000; ++i) {
             keys += ",k" + std::to_string(i);
         }
         return "a: &a {name: b" + keys + "}\nprocess: [" + Repeated("*a,", 65000) + "*a]\n";
     },
     "process has more than "},
    {"ManyItems", [] { return "whitelist:\n" + Filled("- a\n", 11); }, "whitelist has more than 65536 items"},
    {"ManyEntries", [] { return "process:\n" + Filled("- {}\n", 9); }, "process has more than 65536 items"},
    {"ManyRatios", [] { return "numa-ratio:\n" + Filled("- 1\n", 12); },
     "numa-ratio has more than 65536 items"},
    {"ManyKeys", [] { return "{" + Filled("a,", 3) + "b}"; }, TOO_MANY_NODES},
    {"ManyFlowItems", [] { return "whitelist: [" + Filled("a,", 13) + "]"; }, TOO_MANY_NODES},
    {"ManyBrackets", [] { return "whitelist: [" + Filled("[],", 13) + "]"; }, TOO_MANY_NODES},
    {"AsManyNodesAsThereMayBe", [] { return "[" + Repeated("a,", 299999) + "]"; }, LOADED},
    {"OneNodeTooMany", [] { return "[" + Repeated("a,", 300000) + "]"; }, TOO_MANY_NODES},
    {"ManyDocuments", [] { return Filled("--- a\n", 0); }, LOADED},
    {"OneText", [] { return "log-level: " + std::string(MEBIBYTE - 12, 'x'); },
     "/etc/tarnix.yaml error: log-level should be in ["},
    {"OneQuotedText", [] { return "whitelist: [\"" + Filled("\\x41", 20) + "\"]"; }, LOADED},
    {"OneBlockText", [] { return "whitelist:\n- |\n" + Filled("  a\n", 20); }, LOADED},
    {"OneFoldedText", [] { return "whitelist:\n- >\n" + Filled("  a\n", 20); }, LOADED},
    {"OneKey", [] { return std::string(MEBIBYTE - 4, 'x') + ": a"; }, LOADING},
    {"ManyAnchors", [] { return "a: [" + Filled("&a x,", 10) + "x]"; }, LOADED},
    {"OnlyBlanks", [] { return std::string(MEBIBYTE, ' '); }, LOADED},
    {"OnlyLineBreaks", [] { return std::string(MEBIBYTE, '\n'); }, LOADED},
    {"OnlyNuls", [] { return std::string(MEBIBYTE, '\0'); }, ""},
    {"OnlyHighBytes", [] { return std::string(MEBIBYTE, '\xFF'); }, ""},
    {"OnlyColons", [] { return std::string(MEBIBYTE, ':'); }, ""},
    {"OnlyQuestions", [] { return std::string(MEBIBYTE, '?'); }, ""},
    {"OnlyPercents", [] { return std::string(MEBIBYTE, '%'); }, ""},
    {"OnlyExclamations", [] { return std::string(MEBIBYTE, '!'); }, ""},
    {"OnlyQuestionBlanks", [] { return Filled("? ", 0); }, LOADING},
    {"OnlyColonBlanks", [] { return Filled(": ", 0); }, ""},
    {"OnlyClosers", [] { return std::string(MEBIBYTE, ']'); }, LOADING},
};

struct Figures {
    long kib = 0;
    double seconds = 0;
    std::int32_t code = -1;
    char message[200] = "";
};

/// Reads f.yaml in a process of its own.
int ReadMeasured(Figures& figures, bool inThread)
{
    ConfCtl ctl;
    Conf conf;
    if (ctl.InitOptMap(false).code != 0) {
        return 2;
    }
    const long before = StatusKib("VmRSS");
    const auto start = std::chrono::steady_clock::now();
    TnResult result;
    const auto read = [&] { result = ctl.ParseYaml("f.yaml", false, false, conf); };
    if (inThread) {
        std::thread(read).join();
    } else {
        read();
    }
    figures.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    figures.kib = StatusKib("VmHWM") - before;
    figures.code = result.code;
    snprintf(figures.message, sizeof figures.message, "%s", result.message.c_str());
    return 0;
}

class FileCost : public testing::TestWithParam<CostCase> {};

TEST_P(FileCost, IsBounded)
{
    const support::OwnDirectory directory;
    const std::string text = GetParam().text();
    ASSERT_LE(text.size(), MEBIBYTE);
    directory.Write("f.yaml", text);
    const bool deep = GetParam().name.rfind("Deep", 0) == 0;
    for (const bool inThread : deep ? std::vector<bool>{false, true} : std::vector<bool>{false}) {
        const support::SharedValue<Figures> figures;
        support::Child child(support::Fork([&] { return ReadMeasured(*figures, inThread); }));
        ASSERT_EQ(child.Wait(120), 0);
        const std::string message = figures->message;
        EXPECT_EQ(message.rfind(GetParam().message, 0), 0U) << message;
        EXPECT_EQ(figures->code, message == LOADED ? 0 : 1) << message;
        std::cout << "[   COST   ] " << figures->kib << " KiB, " << figures->seconds
                  << " s: " << message.substr(0, 90) << "\n";
        if (!NoMemoryFigures().empty()) {
            std::cout << "[   COST   ] " << NoMemoryFigures() << "\n";
        } else if (message == TOO_MANY_NODES) {
            // The parser splits a whole bracket into tokens before it tells of the first.
            EXPECT_LE(figures->kib, 256 * 1024);
        } else if (message == LOADED || message.find("more than 65536") != std::string::npos) {
            EXPECT_LE(figures->kib, 160 * 1024) << "half a KiB for each of 300000 nodes";
        } else {
            EXPECT_LE(figures->kib, 100 * 1024);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Files, FileCost, testing::ValuesIn(CASES),
                         [](const auto& row) { return row.param.name; });

}  // namespace
