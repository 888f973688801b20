// SPDX-License-Identifier: MIT

#include "config/process_pattern.h"

#include <pthread.h>
#include <sys/resource.h>
#include <time.h>

#include <cstdint>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <locale>
#include <random>
#include <regex>
#include <string>

#include <gtest/gtest.h>

namespace {

using process_pattern::FullMatch;
using process_pattern::Refusal;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || defined(__aarch64__) || \
    defined(WITH_COVERAGE)
constexpr bool SLOW = true;  // instrumented or emulated
#else
constexpr bool SLOW = false;
#endif

TEST(ProcessPattern, FullMatches)
{
    const struct {
        const char* pattern;
        const char* subject;
        bool matches;
    } cases[] = {
        {"redis", "redis", true},
        {"redis", "redis-server", false},
        {"redis", "Redis", false},
        {"", "", true},
        {"", "a", false},
        {"redis.*", "redis-server", true},
        {".*redis", "my-redis", true},
        {"java|node", "node", true},
        {"java|node", "javanode", false},
        {"^java$", "java", true},
        {"kworker/[0-9]+:[0-9]", "kworker/12:3", true},
        {"kworker/[0-9]+:[0-9]", "kworker/12:33", false},
        {"\\d{3}", "123", true},
        {"d{3}", "ddd", true},
        {"a.c", "a\nc", false},
        {"(a+)\\1", "aaaa", true},
        {"(a+)\\1", "aaa", false},
        {"(?=.*b)a.*", "aab", true},
        {"(?!b).*", "ba", false},
        {"[[:upper:]]+", "ABC", true},
        {"\\bfoo\\b", "foo", true},
        {"(", "(", false},
        {"*", "*", false},
        {"[b-a]", "a", false},
        {"a{2,1}", "aa", false},
        {"\\", "\\", false},
        {"a-b_c/d:e,f@g", "a-b_c/d:e,f@g", true},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(FullMatch(c.pattern, c.subject), c.matches) << c.pattern << " on " << c.subject;
    }
}

TEST(ProcessPattern, AgreesWithTheLibraryOnRandomPatterns)
{
    const std::string alphabet = "ab|()*+?.[]^$\\1{,}-";
    std::mt19937 random(7);
    int compared = 0;
    int matches = 0;
    for (int round = 0; round < (SLOW ? 5000 : 60000); ++round) {
        std::string pattern;
        for (std::size_t length = 1 + random() % 9; length > 0; --length) {
            pattern += alphabet[random() % (random() % 2 == 0 ? 2 : alphabet.size())];
        }
        std::regex regex;
        try {
            regex.assign(pattern);
        } catch (const std::regex_error&) {
            EXPECT_FALSE(FullMatch(pattern, "a")) << pattern;
            continue;
        }
        for (int subject = 0; subject < 4; ++subject) {
            std::string text;
            for (std::size_t length = random() % 8; length > 0; --length) {
                text += "ab"[random() % 2];
            }
            const bool expected = std::regex_match(text, regex);
            ASSERT_EQ(FullMatch(pattern, text), expected) << pattern << " on " << text;
            ++compared;
            matches += expected ? 1 : 0;
        }
    }
    EXPECT_GT(matches, compared / 50) << "too few matches to prove anything";
    std::cout << compared << " comparisons, " << matches << " matches\n";
}

TEST(ProcessPattern, NulIsACharacterLikeAnyOther)
{
    const std::string pattern("a\0b", 3);
    EXPECT_TRUE(FullMatch(pattern, pattern));
    EXPECT_FALSE(FullMatch(pattern, "a"));
    EXPECT_TRUE(FullMatch("a.b", pattern));
}

TEST(ProcessPattern, BytesAboveAsciiDoNotDependOnTheLocale)
{
    EXPECT_TRUE(FullMatch("caf\xC3\xA9", "caf\xC3\xA9"));
    EXPECT_TRUE(FullMatch("caf..", "caf\xC3\xA9"));
    EXPECT_FALSE(FullMatch("[[:alpha:]]+", "caf\xC3\xA9"));
}

TEST(ProcessPattern, Limits)
{
    EXPECT_TRUE(FullMatch(std::string(1000, 'a'), std::string(1000, 'a')));
    EXPECT_FALSE(FullMatch(std::string(1001, 'a'), std::string(1001, 'a')));
    const std::string deep = std::string(200, '(') + "a" + std::string(200, ')');
    EXPECT_TRUE(FullMatch(deep, "a"));
    EXPECT_FALSE(FullMatch("(" + deep + ")", "a"));
    EXPECT_TRUE(FullMatch("a{1000}", std::string(1000, 'a')));
    EXPECT_TRUE(FullMatch("(?:||||||||||||||||||||){100}", ""));
    EXPECT_FALSE(FullMatch("a{100000}", std::string(100000, 'a')));
    EXPECT_TRUE(FullMatch("(a+)\\1", std::string(256, 'a')));
    EXPECT_FALSE(FullMatch("(a+)\\1", std::string(258, 'a')));
}

TEST(ProcessPattern, RefusalSaysWhy)
{
    EXPECT_EQ(Refusal("redis.*"), "");
    EXPECT_EQ(Refusal("redis"), "");
    EXPECT_EQ(Refusal("(a)\\1"), "");
    EXPECT_EQ(Refusal("(a)\\12345"),
              "the pattern has a back-reference whose number of digits is 5, at most 4 are allowed");
    EXPECT_EQ(Refusal("a\\" + std::string(40, '9')),
              "the pattern has a back-reference whose number of digits is 40, at most 4 are allowed");
    EXPECT_EQ(Refusal("\\012345"), "");  // the character NUL and a text
    EXPECT_EQ(Refusal(std::string(1001, 'a')), "the pattern has a length of 1001, at most 1000 are allowed");
    EXPECT_EQ(Refusal(std::string(201, '(') + std::string(201, ')')),
              "the pattern has a depth of nested groups of 201, at most 200 are allowed");
    EXPECT_EQ(
        Refusal("(a{200}){200}").rfind("the pattern has a size, its repetitions written out, of about ", 0),
        0U);
    const std::string start = "the pattern does not compile: ";
    for (const char* pattern : {"(", "[", "*", "a{2,1}", "[b-a]", "\\", "(?<=a)b"}) {
        const std::string refusal = Refusal(pattern);
        EXPECT_EQ(refusal.rfind(start, 0), 0U) << pattern << ": " << refusal;
        EXPECT_GT(refusal.size(), start.size());
    }
}

const char* const PATTERN_CLASSES[] = {
    ".*--port=6379.*",
    "(a|b)*",
    "(a+)+b",
    "(a+)\\1",
    "(.*)*",
    "(.*a){20}",
    "[[:alpha:]]*",
    "(?=(a*))a*",
    "(?!b)a*",
    "(?:(?=.*b)a)*",
    "(a*)*\\1b",
    "((a?){300})\\1",
    "(x+x+)+y",
    "\\b(\\ba\\b|a)*",
    "((){900}a)*",
    "(?:|a){999}",
    "(?:(?=(.*))a)*",
    "(((a?){9}){9}){9}",
    "((|a|a|a|a){150})\\1",
    "(?:||||||||||||||||||||){350}",
    "(?:|a|a|a|a|a|a|a|a|a|a|a|a|a|a|a|a|a|a|a|a|a|a|a|a|a|a|a|a|a|a){100}"};

/// Processor time of this process: what a match takes whatever else the machine is doing.
std::chrono::nanoseconds ProcessTime()
{
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

/// Every pattern class on subjects of all lengths, answered within a second each.
void MatchEverything()
{
    for (const std::size_t length : {0U, 100U, 26000U, 131072U, 2000000U}) {
        if (SLOW && length > 26000) {
            continue;
        }
        const std::string subject(length, 'a');
        for (const char* pattern : PATTERN_CLASSES) {
            constexpr std::int64_t BOUND_NS = (SLOW ? 20 : 1) * std::int64_t{1000000000};
            // The quicker of two: on a busy machine the same work may take more of its time.
            std::int64_t quicker = INT64_MAX;
            for (int i = 0; i < 2 && quicker >= BOUND_NS; ++i) {
                const auto start = ProcessTime();
                FullMatch(pattern, subject);
                quicker = std::min<std::int64_t>(quicker, (ProcessTime() - start).count());
            }
            EXPECT_LT(quicker, BOUND_NS) << pattern << " on " << length;
        }
    }
}

TEST(ProcessPattern, NoSubjectCrashesOrStalls)
{
    MatchEverything();
    const std::string filling(SLOW ? 10000 : 1000000, 'x');
    EXPECT_TRUE(FullMatch(".*--port=6379.*", filling + "--port=6379" + filling));
    EXPECT_FALSE(FullMatch(".*--port=6379.*", std::string(2000000, '-')));
}

void* MatchOnSmallStack(void* /*unused*/)
{
    MatchEverything();
    return nullptr;
}

TEST(ProcessPattern, NoSubjectCrashesAThreadWithASmallStack)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "instrumented frames are several times as large as real ones";
#endif
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, 256 * 1024), 0);
    pthread_t thread{};
    ASSERT_EQ(pthread_create(&thread, &attributes, MatchOnSmallStack, nullptr), 0);
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
    pthread_attr_destroy(&attributes);
}

}  // namespace
