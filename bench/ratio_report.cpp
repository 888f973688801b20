// SPDX-License-Identifier: MIT

#include "bench/ratio_report.h"

#include <algorithm>
#include <cstdio>
#include <map>

#include <benchmark/benchmark.h>

namespace bench {
namespace {

/// Prints what the console reporter prints and keeps the time of every single repetition.
class Collector : public benchmark::ConsoleReporter {
public:
    using ConsoleReporter::ConsoleReporter;

    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.error_occurred) {
                failed = true;
            } else if (run.run_type == Run::RT_Iteration) {
                const auto iterations =
                    static_cast<double>(std::max<benchmark::IterationCount>(run.iterations, 1));
                times[run.run_name.str()].push_back(run.real_accumulated_time / iterations);
            }
        }
    }

    /// Median in nanoseconds; negative when the benchmark did not run.
    double Median(const std::string& name)
    {
        const auto found = times.find(name);
        if (found == times.end() || found->second.empty()) {
            return -1.0;
        }
        std::vector<double>& values = found->second;
        std::sort(values.begin(), values.end());
        const std::size_t middle = values.size() / 2;
        const double median =
            values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
        return median * 1e9;
    }

    void PrintMedians()
    {
        std::printf("%-60s %14s %6s\n", "benchmark", "median ns", "runs");
        for (const auto& entry : times) {
            std::printf("%-60s %14.1f %6zu\n", entry.first.c_str(), Median(entry.first), entry.second.size());
        }
    }

    bool failed = false;

private:
    std::map<std::string, std::vector<double>> times;
};

bool Given(int argc, char** argv, const std::string& flag)
{
    return std::any_of(argv, argv + argc,
                       [&flag](const char* argument) { return std::string(argument).rfind(flag, 0) == 0; });
}

}  // namespace

int RunWithRatios(int argc, char** argv, const std::vector<Ratio>& ratios)
{
    std::vector<std::string> defaults;
    const struct {
        const char* flag;
        const char* value;
    } wanted[] = {{"--benchmark_repetitions", "9"},
                  {"--benchmark_enable_random_interleaving", "true"},
                  {"--benchmark_min_time", "0.05"}};
    for (const auto& item : wanted) {
        if (!Given(argc, argv, item.flag)) {
            defaults.push_back(std::string(item.flag) + "=" + item.value);
        }
    }
    std::vector<char*> arguments(argv, argv + argc);
    for (std::string& text : defaults) {
        arguments.push_back(text.data());
    }
    int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 2;
    }
    Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);
    collector.PrintMedians();
    for (const Ratio& ratio : ratios) {
        const double ours = collector.Median(ratio.ours);
        const double baseline = collector.Median(ratio.baseline);
        if (ours > 0 && baseline > 0) {
            std::printf(
                "ratio: %s: %.1f ns against %.1f ns: %.2f times the baseline, %.2fx faster (goal: %s)\n",
                ratio.what.c_str(), ours, baseline, ours / baseline, baseline / ours, ratio.goal.c_str());
        }
    }
    return collector.failed ? 1 : 0;
}

}  // namespace bench
