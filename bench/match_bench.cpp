// SPDX-License-Identifier: MIT
//
// Conf::GetProcConf for 1,000 process names against 50 literal patterns, 25 in each list, against the form
// that compiles every pattern at every look.

#include <regex>
#include <string>
#include <unordered_set>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/ratio_report.h"
#include "config/conf.h"

namespace {

constexpr int NAMES = 1000;
constexpr int PATTERNS = 25;

using Patterns = std::unordered_set<std::string>;

/// Names such as a server has; one in twenty is on the whitelist, the other lists' worth matches nothing, so
/// that every pattern is looked at, as it is in life.
std::vector<std::string> Names()
{
    std::vector<std::string> names;
    for (int i = 0; i < NAMES; ++i) {
        names.push_back(i % 20 == 0 ? "service-" + std::to_string(i / 20 % PATTERNS)
                                    : "kworker/" + std::to_string(i) + ":1");
    }
    return names;
}

Conf Configuration()
{
    Conf conf = g_defaultConf;
    for (int i = 0; i < PATTERNS; ++i) {
        conf.whitelist.insert("service-" + std::to_string(i));
        conf.blacklist.insert("daemon-" + std::to_string(i));
    }
    return conf;
}

bool PlainMatch(const std::string& name, const Patterns& patterns)
{
    for (const std::string& pattern : patterns) {
        try {
            if (std::regex_match(name, std::regex(pattern))) {
                return true;
            }
        } catch (const std::regex_error&) {
            continue;
        }
    }
    return false;
}

ProcConf PlainProcConf(const Conf& conf, const std::string& name)
{
    ProcConf result;
    result.needTune = !PlainMatch(name, conf.blacklist) && PlainMatch(name, conf.whitelist) ? 1 : 0;
    return result;
}

/// `ask(conf, name)` for every name, 50 of which are to be tuned.
template <typename Ask>
void AskForAll(benchmark::State& state, Ask ask)
{
    const Conf conf = Configuration();
    const std::vector<std::string> names = Names();
    for (auto _ : state) {
        unsigned tuned = 0;
        for (const std::string& name : names) {
            tuned += ask(conf, name).needTune;
        }
        if (tuned != NAMES / 20) {
            state.SkipWithError("the lists do not tell the names apart");
            break;
        }
    }
}

void GetProcConf(benchmark::State& state)
{
    AskForAll(state, [](const Conf& conf, const std::string& name) { return conf.GetProcConf(name, {}); });
}

void CompileEach(benchmark::State& state)
{
    AskForAll(state, PlainProcConf);
}

}  // namespace

int main(int argc, char** argv)
{
    benchmark::RegisterBenchmark("GetProcConf", GetProcConf);
    benchmark::RegisterBenchmark("CompileEach", CompileEach);
    return bench::RunWithRatios(argc, argv,
                                {{"1,000 names, 50 literal patterns against compiling each", "GetProcConf",
                                  "CompileEach", "at least 25x faster"}});
}
