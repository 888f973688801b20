// SPDX-License-Identifier: MIT

#include "tools/numa_score/quality.h"

#include <cmath>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace numa_score;

/// A period with nothing to remark.
Evidence Sound()
{
    Evidence evidence;
    evidence.ops = 1000;
    evidence.sccl = 20;
    evidence.outer = 10;
    evidence.samples = 3;
    evidence.sawOps = true;
    evidence.sawSccl = true;
    evidence.sawOuter = true;
    return evidence;
}

std::string FlagsOf(const Evidence& evidence)
{
    std::string out;
    AppendFlags(out, Judge(evidence), " ");
    return out;
}

TEST(Judge, NamesWhatIsWrongWithAPeriod)
{
    struct Case {
        std::string what;
        std::function<void(Evidence&)> change;
        std::string flags;
    };
    const std::vector<Case> cases = {
        {"sound", [](Evidence&) {}, ""},
        {"no operations", [](Evidence& e) { e.ops = e.sccl = e.outer = 0; }, "idle"},
        {"no operations, but remote ones", [](Evidence& e) { e.ops = 0; }, "idle"},
        {"operations not seen", [](Evidence& e) { e.ops = 0, e.sawOps = false; }, "partial"},
        {"sccl not seen", [](Evidence& e) { e.sawSccl = false; }, "partial"},
        {"outer not seen", [](Evidence& e) { e.sawOuter = false; }, "partial"},
        {"just running", [](Evidence& e) { e.runningRatio = FULL_RUNNING_RATIO; }, ""},
        {"just not running", [](Evidence& e) { e.runningRatio = std::nextafter(FULL_RUNNING_RATIO, 0.0); },
         "multiplexed"},
        {"one stopped", [](Evidence& e) { e.notCounted = 1; }, "not_counted"},
        {"all stopped",
         [](Evidence& e) {
             e = Evidence();
             e.notCounted = 3;
         },
         "not_counted partial"},
        {"one missing", [](Evidence& e) { e.missing = 1; }, "partial"},
        {"cut short", [](Evidence& e) { e.cutShort = true; }, "partial"},
        {"all remote", [](Evidence& e) { e.outer = 600, e.sccl = 400; }, ""},
        {"one too many", [](Evidence& e) { e.outer = 600, e.sccl = 401; }, "clamped"},
        {"outer alone too many", [](Evidence& e) { e.outer = 1001, e.sccl = 0; }, "clamped"},
        {"a sum beyond 64 bits", [](Evidence& e) { e.outer = 500, e.sccl = UINT64_MAX; }, "clamped"},
        {"huge and sound", [](Evidence& e) { e.ops = UINT64_MAX, e.outer = 1, e.sccl = UINT64_MAX - 1; }, ""},
        {"nothing arrived", [](Evidence& e) { e = Evidence(); }, "stale"},
        {"nothing arrived, some missing",
         [](Evidence& e) {
             e = Evidence();
             e.missing = 3;
         },
         "partial stale"},
        {"nothing arrived in the end",
         [](Evidence& e) {
             e = Evidence();
             e.cutShort = true;
         },
         "partial stale"},
        {"other events only",
         [](Evidence& e) {
             e = Evidence();
             e.samples = 5;
         },
         "partial"},
        {"the kernel says otherwise", [](Evidence& e) { e.kernelDisagrees = true; }, "disagrees"},
        {"much at once",
         [](Evidence& e) { e.runningRatio = 0.5, e.notCounted = 2, e.cutShort = true, e.outer = 2000; },
         "multiplexed not_counted partial clamped"},
    };
    for (const Case& item : cases) {
        Evidence evidence = Sound();
        item.change(evidence);
        EXPECT_EQ(FlagsOf(evidence), item.flags) << item.what;
    }
}

TEST(QualityFlags, KeepsEachFlagByItself)
{
    for (std::size_t i = 0; i < QUALITY_COUNT; ++i) {
        QualityFlags flags;
        EXPECT_TRUE(flags.None());
        flags.Set(static_cast<Quality>(i));
        flags.Set(static_cast<Quality>(i));
        EXPECT_FALSE(flags.None());
        EXPECT_FALSE(flags == QualityFlags());
        for (std::size_t other = 0; other < QUALITY_COUNT; ++other) {
            EXPECT_EQ(flags.Has(static_cast<Quality>(other)), other == i);
        }
        std::string name = "<";
        AppendFlags(name, flags, ", ");
        EXPECT_EQ(name, "<" + std::string(QUALITY_NAMES[i]));
    }
}

TEST(AppendFlags, JoinsAllNamesInOrder)
{
    QualityFlags flags;
    for (std::size_t i = QUALITY_COUNT; i > 0; --i) {
        flags.Set(static_cast<Quality>(i - 1));
    }
    std::string out = "flags: ";
    AppendFlags(out, flags, ", ");
    EXPECT_EQ(out, "flags: idle, multiplexed, not_counted, partial, clamped, stale, disagrees");
    out.clear();
    AppendFlags(out, QualityFlags(), ", ");
    EXPECT_EQ(out, "");
}

}  // namespace
