// SPDX-License-Identifier: MIT

#include "tools/tnstat/site.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/metrics_record.h"
#include "tests/support/scratch_directory.h"

namespace {

using testing::HasSubstr;
using tnstat::HttpAnswer;
using tnstat::Site;

class TnstatSite : public testing::Test {
protected:
    support::ScratchDirectory scratch;
    std::string file = scratch / "metrics.bin";
    Site site{file, [] { return std::int64_t{0}; }};
};

TEST_F(TnstatSite, AnswersWhatItHas)
{
    const struct {
        const char* path;
        const char* contentType;
        const char* part;
        bool cacheable;
    } cases[] = {
        {"/", "text/html; charset=utf-8", "<h1>NUMA locality</h1>", true},
        {"/page.css", "text/css; charset=utf-8", "prefers-color-scheme: dark", true},
        {"/page.js", "text/javascript; charset=utf-8", "'use strict'", true},
        {"/state.json", "application/json", "\"up\":true", false},
        {"/metrics", "text/plain; version=0.0.4; charset=utf-8", "\ntarnix_up 1\n", false},
    };
    support::WriteRecord(file, support::TellingRecord());
    for (const auto& [path, contentType, part, cacheable] : cases) {
        const HttpAnswer answer = site.Answer(path);
        EXPECT_EQ(answer.status, 200U) << path;
        EXPECT_EQ(answer.contentType, contentType) << path;
        EXPECT_THAT(answer.body, HasSubstr(part)) << path;
        EXPECT_EQ(answer.cacheable, cacheable) << path;
    }
}

TEST_F(TnstatSite, KnowsNoFiles)
{
    for (const char* const path : {"", "//", "/metrics/", "/METRICS", "/../../etc/passwd", "/page/page.html",
                                   "/%2e%2e/", "/metrics.bin", "metrics", "/favicon.ico"}) {
        const HttpAnswer answer = site.Answer(path);
        EXPECT_EQ(answer.status, 404U) << path;
        EXPECT_EQ(answer.body, "404 not found, see / or /metrics\n") << path;
    }
}

TEST_F(TnstatSite, ReadsTheFileForEachAnswer)
{
    EXPECT_THAT(site.Answer("/metrics").body, HasSubstr("\ntarnix_up 0\n"));
    SystemMetrics record = support::TellingRecord();
    support::WriteRecord(file, record);
    EXPECT_THAT(site.Answer("/metrics").body, HasSubstr("\ntarnix_loops_total 4711\n"));
    record.loopCnt = 4712;
    support::WriteRecord(file, record);
    EXPECT_THAT(site.Answer("/metrics").body, HasSubstr("\ntarnix_loops_total 4712\n"));
    support::WriteRecord(file, record, 100);
    EXPECT_THAT(site.Answer("/metrics").body, HasSubstr("\ntarnix_up 0\n"));
}

TEST_F(TnstatSite, ScrapesMakeTheHistoryOfThePage)
{
    support::WriteRecord(file, support::TellingRecord());
    site.Answer("/metrics");
    site.Answer("/metrics");
    EXPECT_THAT(site.Answer("/state.json").body,
                testing::ContainsRegex("\"history\":\\[\\[[0-9]+,0.95\\]\\]"));
}

TEST_F(TnstatSite, ThePageAsksForNothingFromElsewhere)
{
    for (const char* const path : {"/", "/page.css", "/page.js"}) {
        const std::string body = site.Answer(path).body;
        const std::string namespaceOfSvg = "http://www.w3.org/2000/svg";
        std::string rest = body;
        if (const std::size_t at = rest.find(namespaceOfSvg); at != std::string::npos) {
            rest.erase(at, namespaceOfSvg.size());
        }
        EXPECT_EQ(rest.find("://"), std::string::npos) << path;
    }
}

}  // namespace
