// SPDX-License-Identifier: MIT
//
// A process that reloads its configuration for years must not grow by it, whether the loads succeed or fail.

#include <fstream>
#include <iostream>
#include <string>

#include <gtest/gtest.h>

#include "config/conf_ctl.h"
#include "tests/support/child_run.h"
#include "tests/support/own_directory.h"
#include "tests/support/sanitized.h"

namespace {

#if TESTS_SANITIZED
constexpr int ROUNDS = 100;
const char* const NOT_JUDGED = "a sanitizer's allocator keeps released blocks; its leak check judges";
#elif defined(__aarch64__)
constexpr int ROUNDS = 100;
const char* const NOT_JUDGED = "this machine may be emulated, and the figures the emulator's";
#else
constexpr int ROUNDS = 2000;  // scripts/soak.sh makes 10,000
const char* const NOT_JUDGED = nullptr;
#endif

long ResidentKib()
{
    const std::string text = support::FileText("/proc/self/status");
    return std::stol(text.substr(text.find("\nVmRSS:") + 7));
}

/// `entries` process entries beside settings of every shape.
std::string FileOf(int entries)
{
    std::string text =
        "log-level: warn\nsampling-times: 7\nwhitelist: [a, b]\ngroup: [[a, b], [c]]\nnuma-ratio: [50, 50]\n"
        "process:\n";
    for (int i = 0; i < entries; ++i) {
        text += "- {name: process" + std::to_string(i % 50) +
                ", params-regex: \".*--port=" + std::to_string(6000 + i) +
                ".*\", algorithm: BalanceProcNum}\n";
    }
    return text;
}

/// Runs `round` often and expects the resident memory to stay within a mebibyte.
template <typename Round>
void ExpectNoGrowth(Round round)
{
    for (int i = 0; i < ROUNDS / 10; ++i) {
        round();
    }
    const long before = ResidentKib();
    for (int i = 0; i < ROUNDS; ++i) {
        round();
    }
    const long growth = ResidentKib() - before;
    std::cout << "[  GROWTH  ] " << growth << " KiB in " << ROUNDS << " rounds\n";
    if (NOT_JUDGED == nullptr) {
        EXPECT_LE(growth, 1024);
    } else {
        std::cout << "[  GROWTH  ] not judged: " << NOT_JUDGED << "\n";
    }
}

class Reload : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(ctl.InitOptMap(false).code, 0); }

    support::OwnDirectory directory;
    ConfCtl ctl;
};

TEST_F(Reload, OfAWholeFileDoesNotGrow)
{
    directory.Write("f.yaml", FileOf(60));
    ExpectNoGrowth([this] {
        Conf conf;
        ASSERT_EQ(ctl.ParseYaml("f.yaml", false, false, conf).code, 0);
        ASSERT_EQ(conf.process.size(), 50U);
    });
}

TEST_F(Reload, OfTheLogLevelDoesNotGrow)
{
    directory.Write("f.yaml", FileOf(2));
    Conf conf;
    ExpectNoGrowth([&] { ASSERT_EQ(ctl.ParseYaml("f.yaml", false, true, conf).code, 0); });
    EXPECT_TRUE(conf.process.empty());
}

TEST_F(Reload, ThatFailsDoesNotGrow)
{
    directory.Write("syntax", FileOf(2) + "  : ]");
    directory.Write("shape", FileOf(2) + "metrics: [a]\n");
    directory.Write("cycle", "a: &a {b: *a, c: [*a, *a]}\ngroup: &g [*g]\n");
    directory.Write("large", std::string(1U << 20U, '#') + "\n");
    ExpectNoGrowth([this] {
        Conf conf;
        for (const char* path : {"syntax", "shape", "cycle", "large", "absent", "."}) {
            ASSERT_EQ(ctl.ParseYaml(path, false, false, conf).code, 1);
        }
    });
}

}  // namespace
