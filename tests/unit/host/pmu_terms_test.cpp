// SPDX-License-Identifier: MIT

#include "host/pmu_terms.h"

#include <array>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Words = std::array<std::uint64_t, 3>;

const std::vector<host::FormatTerm>& Formats()
{
    static const std::vector<host::FormatTerm> formats = {
        host::ParseFormat("event", "config:0-7,32-35\n"),  host::ParseFormat("umask", "config:8-15\n"),
        host::ParseFormat("wide", "config1:0-63\n"),       host::ParseFormat("flag", "config2:63\n"),
        host::ParseFormat("overlap", "config:4-11,8-9\n"), host::ParseFormat("far", "config3:0-7\n")};
    return formats;
}

/// Words of a user's terms, or the message.
std::string Encoded(const std::string& terms, Words& words)
{
    const host::EventTermsResult parsed = host::ParseEventTerms(terms);
    if (!parsed.error.empty()) {
        return parsed.error;
    }
    const host::EventConfigResult result = host::EncodeTerms(parsed.terms, Formats(), "pmu/x/");
    words = result.config.words;
    return result.error;
}

TEST(PmuFormat, ReadsWordAndBits)
{
    const struct {
        const char* text;
        std::size_t word;
        std::uint64_t mask;
    } cases[] = {
        {"config:0-7\n", 0, 0xff},
        {"config:0-63", 0, ~std::uint64_t{0}},
        {"config1:0\n", 1, 1},
        {"config2:63", 2, std::uint64_t{1} << 63U},
        {"config:0-7,32-35\n", 0, 0xf000000ff},
        {"config:21,9-8", 0, 0},
        {"config:32-35,0-7", 0, 0xf000000ff},
        {"config:0-3,2-5,3", 0, 0x3f},
    };
    for (const auto& row : cases) {
        const host::FormatTerm term = host::ParseFormat("t", row.text);
        EXPECT_EQ(term.error.empty(), row.mask != 0) << row.text;
        EXPECT_EQ(term.word, row.word) << row.text;
        EXPECT_EQ(term.mask, row.mask) << row.text;
        EXPECT_EQ(term.name, "t");
    }
}

TEST(PmuFormat, SaysWhatIsWrong)
{
    const std::string advice = "; a format reads like config:0-7,32-35";
    const struct {
        std::string text;
        std::string error;
    } cases[] = {
        {"", "format '': expected config, config1 or config2 and ':'" + advice},
        {"config", "format 'config': expected config, config1 or config2 and ':'" + advice},
        {"config3:0-7", "format 'config3:0-7': expected config, config1 or config2 and ':'" + advice},
        {"config:", "format 'config:': expected bits from 0 to 63 or ranges of them" + advice},
        {"config:64", "format 'config:64': expected bits from 0 to 63 or ranges of them" + advice},
        {"config:0-64", "format 'config:0-64': expected bits from 0 to 63 or ranges of them" + advice},
        {"config:7-0", "format 'config:7-0': expected bits from 0 to 63 or ranges of them" + advice},
        {"config:0-7,", "format 'config:0-7,': expected bits from 0 to 63 or ranges of them" + advice},
        {"config:-1", "format 'config:-1': expected bits from 0 to 63 or ranges of them" + advice},
        {"config:0-7 8", "format 'config:0-7 8': expected bits from 0 to 63 or ranges of them" + advice},
        {"con\nfig:\x1b", "format 'con\\nfig:\\x1b': expected config, config1 or config2 and ':'" + advice},
    };
    for (const auto& row : cases) {
        const host::FormatTerm term = host::ParseFormat("t", row.text);
        EXPECT_EQ(term.error, row.error);
        EXPECT_EQ(term.mask, 0U);
    }
}

TEST(PmuEvent, ReadsTerms)
{
    const host::EventTermsResult result = host::ParseEventTerms("event=0x2c,umask=10,edge,node=?\n");
    ASSERT_EQ(result.error, "");
    ASSERT_THAT(result.terms, SizeIs(4));
    EXPECT_EQ(result.terms[0].name, "event");
    EXPECT_EQ(result.terms[0].value, 0x2cU);
    EXPECT_FALSE(result.terms[0].bare);
    EXPECT_EQ(result.terms[1].value, 10U);
    EXPECT_EQ(result.terms[2].value, 1U);
    EXPECT_TRUE(result.terms[2].bare);
    EXPECT_EQ(result.terms[3].name, "node");
    EXPECT_FALSE(result.terms[3].value.has_value());
}

TEST(PmuEvent, ReadsTheLargestNumbers)
{
    Words words{};
    EXPECT_EQ(Encoded("wide=18446744073709551615", words), "");
    EXPECT_EQ(words, (Words{0, ~std::uint64_t{0}, 0}));
    EXPECT_EQ(Encoded("wide=0xFFFFFFFFFFFFFFFE", words), "");
    EXPECT_EQ(words, (Words{0, ~std::uint64_t{1}, 0}));
}

TEST(PmuEvent, SaysWhatIsWrong)
{
    const std::string name = ": expected a name of letters, digits and signs without '/', ',' and '='";
    const std::string number = ": expected a number of at most 64 bits, decimal or after 0x hexadecimal";
    const struct {
        std::string text;
        std::string error;
    } cases[] = {
        {"", "event '': expected at least one term, for example event=0x1"},
        {"\n", "event '': expected at least one term, for example event=0x1"},
        {",", "event ',': term ''" + name},
        {"event=0x1,", "event 'event=0x1,': term ''" + name},
        {"=1", "event '=1': term '=1'" + name},
        {"..=1", "event '..=1': term '..=1'" + name},
        {"a b=1", "event 'a b=1': term 'a b=1'" + name},
        {"event=", "event 'event=': term 'event='" + number},
        {"event=0x", "event 'event=0x': term 'event=0x'" + number},
        {"event=-1", "event 'event=-1': term 'event=-1'" + number},
        {"event=0x1g", "event 'event=0x1g': term 'event=0x1g'" + number},
        {"event=1=2", "event 'event=1=2': term 'event=1=2'" + number},
        {"event=18446744073709551616",
         "event 'event=18446744073709551616': term 'event=18446744073709551616'" + number},
        {"event=\x1b]0;x\a", "event 'event=\\x1b]0;x\\x07': term 'event=\\x1b]0;x\\x07'" + number},
    };
    for (const auto& row : cases) {
        const host::EventTermsResult result = host::ParseEventTerms(row.text);
        EXPECT_EQ(result.error, row.error);
        EXPECT_THAT(result.terms, IsEmpty());
    }
}

TEST(PmuEvent, IsBounded)
{
    std::string text = "t0";
    for (int i = 1; i < 64; ++i) {
        text += ",t" + std::to_string(i);
    }
    EXPECT_THAT(host::ParseEventTerms(text).terms, SizeIs(64));
    EXPECT_THAT(host::ParseEventTerms(text + ",t64").error,
                testing::EndsWith("...': more than 64 terms or 4096 bytes"));
    EXPECT_THAT(host::ParseEventTerms("event=" + std::string(4091, '0')).error,
                testing::EndsWith("...': more than 64 terms or 4096 bytes"));
}

TEST(PmuEncode, PutsValuesWhereTheFormatSays)
{
    const struct {
        const char* terms;
        Words words;
    } cases[] = {
        {"event=0x2c", {0x2c, 0, 0}},
        {"event=0xabc", {0xa000000bc, 0, 0}},
        {"event=0xfff,umask=0xff", {0xf0000ffff, 0, 0}},
        {"event=0,umask=2", {0x200, 0, 0}},
        {"flag", {0, 0, std::uint64_t{1} << 63U}},
        {"overlap=0xff", {0xff0, 0, 0}},
        {"event=0xf,overlap=0x1", {0x1f, 0, 0}},
        {"event=1,event=2", {2, 0, 0}},
        {"config=0x7,config1=8,config2=9", {7, 8, 9}},
        {"config=0x100,event=1", {0x101, 0, 0}},
    };
    for (const auto& row : cases) {
        Words words{};
        EXPECT_EQ(Encoded(row.terms, words), "") << row.terms;
        EXPECT_EQ(words, row.words) << row.terms;
    }
}

TEST(PmuEncode, RawWordsNeedNoFormat)
{
    const host::EventTermsResult parsed = host::ParseEventTerms("config=0x5,config2=0xffffffffffffffff");
    const host::EventConfigResult result = host::EncodeTerms(parsed.terms, {}, "software/x/");
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.config.words, (Words{5, 0, ~std::uint64_t{0}}));
}

TEST(PmuEncode, SaysWhatIsWrong)
{
    const struct {
        const char* terms;
        const char* error;
    } cases[] = {
        {"event=0x1000",
         "event 'pmu/x/': term 'event': the value 0x1000 does not fit into its 12 bits, the largest is "
         "0xfff"},
        {"umask=256",
         "event 'pmu/x/': term 'umask': the value 0x100 does not fit into its 8 bits, the largest is 0xff"},
        {"flag=2",
         "event 'pmu/x/': term 'flag': the value 0x2 does not fit into its 1 bits, the largest is 0x1"},
        {"nothing=1",
         "event 'pmu/x/': the PMU has no event and no term 'nothing', its terms are event, umask, wide, "
         "flag, "
         "overlap, far, config, config1, config2"},
        {"config3=1",
         "event 'pmu/x/': the PMU has no event and no term 'config3', its terms are event, umask, wide, "
         "flag, "
         "overlap, far, config, config1, config2"},
        {"event=?",
         "event 'pmu/x/': term 'event' needs a value, write event=VALUE after the name of the event, as in "
         "PMU/event,event=VALUE/"},
        {"far=1",
         "format 'config3:0-7': expected config, config1 or config2 and ':'; a format reads like "
         "config:0-7,32-35"},
    };
    for (const auto& row : cases) {
        Words words{};
        EXPECT_EQ(Encoded(row.terms, words), row.error);
        EXPECT_EQ(words, Words{});
    }
}

TEST(PmuEncode, AValueMayFillInForAQuestionMark)
{
    Words words{};
    EXPECT_EQ(Encoded("event=1,umask=?,umask=3", words), "");
    EXPECT_EQ(words, (Words{0x301, 0, 0}));
}

TEST(PmuEncode, AWideFormatListStaysShortInTheMessage)
{
    std::vector<host::FormatTerm> formats(4000, host::ParseFormat("a_rather_long_name", "config:0"));
    const host::EventTermsResult parsed = host::ParseEventTerms("x=1");
    const std::string error = host::EncodeTerms(parsed.terms, formats, "pmu/x/").error;
    EXPECT_LT(error.size(), 500U);
    EXPECT_THAT(error, testing::EndsWith(", ..., config, config1, config2"));
}

TEST(EventSelector, ReadsEventsAndTerms)
{
    const host::EventSelectorResult event = host::ParseEventSelector("msr/tsc/");
    ASSERT_EQ(event.error, "");
    EXPECT_EQ(event.selector.pmu, "msr");
    ASSERT_THAT(event.selector.terms, SizeIs(1));
    EXPECT_EQ(event.selector.terms[0].name, "tsc");
    EXPECT_TRUE(event.selector.terms[0].bare);

    const host::EventSelectorResult terms =
        host::ParseEventSelector("uncore_x-1.2/remote,node=3,config1=0x10/");
    ASSERT_EQ(terms.error, "");
    EXPECT_EQ(terms.selector.pmu, "uncore_x-1.2");
    ASSERT_THAT(terms.selector.terms, SizeIs(3));
    EXPECT_EQ(terms.selector.terms[2].value, 0x10U);
}

TEST(EventSelector, SaysWhatIsWrong)
{
    const std::string advice = ", expected PMU/event/ or PMU/term=value,.../";
    const struct {
        std::string text;
        std::string error;
    } cases[] = {
        {"", "event '': no '/' after the PMU" + advice},
        {"msr", "event 'msr': no '/' after the PMU" + advice},
        {"msr/tsc", "event 'msr/tsc': no '/' at the end" + advice},
        {"msr/tsc/u", "event 'msr/tsc/u': text after the second '/'" + advice},
        {"/tsc/", "event '/tsc/': '' cannot be the name of a PMU" + advice},
        {"../tsc/", "event '../tsc/': '..' cannot be the name of a PMU" + advice},
        {"./tsc/", "event './tsc/': '.' cannot be the name of a PMU" + advice},
        {"../../etc/passwd/", "event '../../etc/passwd/': '..' cannot be the name of a PMU" + advice},
        {"a b/tsc/", "event 'a b/tsc/': 'a b' cannot be the name of a PMU" + advice},
        {"msr//", "event 'msr//': expected at least one term, for example event=0x1"},
        {"msr/../",
         "event 'msr/../': term '..': expected a name of letters, digits and signs without '/', ',' "
         "and '='"},
        {"msr/event=?/", "event 'msr/event=?/': term 'event' needs a number in place of '?'"},
        {"msr/event=1,event=2/", "event 'msr/event=1,event=2/': term 'event' is given twice, give it once"},
        {"m\n/x/", "event 'm\\n/x/': 'm\\n' cannot be the name of a PMU" + advice},
    };
    for (const auto& row : cases) {
        const host::EventSelectorResult result = host::ParseEventSelector(row.text);
        EXPECT_EQ(result.error, row.error);
        EXPECT_THAT(result.selector.terms, IsEmpty());
        EXPECT_EQ(result.selector.pmu, "");
    }
}

TEST(PmuName, NeverLeadsElsewhere)
{
    for (const char* name : {"msr", "uncore_x", "a.b", "...", "x:y", "a-1"}) {
        EXPECT_TRUE(host::IsPmuName(name)) << name;
    }
    for (const char* name : {"", ".", "..", "a/b", "/", "a b", "a\n", "a,b", "a=b", "\xc3\xa4"}) {
        EXPECT_FALSE(host::IsPmuName(name)) << name;
    }
    EXPECT_TRUE(host::IsPmuName(std::string(255, 'x')));
    EXPECT_FALSE(host::IsPmuName(std::string(256, 'x')));
    EXPECT_FALSE(host::IsPmuName(std::string_view("a\0b", 3)));
}

}  // namespace
