// SPDX-License-Identifier: MIT
//
// Reading a recording through the replay source, against the plain way: std::getline, a string stream that
// splits at the separator, strtoull. Both start with opening the file and end with the sum of all counts.

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include <algorithm>
#include <array>
#include <chrono>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/ratio_report.h"
#include "host/replay_source.h"

namespace {

constexpr std::uint64_t LINES = 240000;
constexpr std::array<const char*, 3> EVENTS = {"rx_outer", "rx_sccl", "rx_ops_num"};

/// A recording as perf writes it, of `pmus` PMUs with three events each; removed at the end.
class Recording {
public:
    explicit Recording(std::size_t pmus)
    {
        const char* const directory = std::getenv("TMPDIR");
        path = std::string(directory == nullptr ? "/tmp" : directory) + "/replay_bench_XXXXXX";
        const int fd = mkstemp(path.data());
        if (fd < 0) {
            std::perror(path.c_str());
            std::exit(1);
        }
        close(fd);
        std::ofstream file(path);
        file << "# started on Sat Nov 21 04:10:46 2026\n\n";
        std::array<char, 200> line{};
        for (std::uint64_t i = 0; i < LINES; ++i) {
            const std::uint64_t interval = i / (3 * pmus) + 1;
            std::snprintf(line.data(), line.size(), "%6llu.%09llu,%llu,,uncore_l3c%llu/%s/,%llu,100.00,,\n",
                          static_cast<unsigned long long>(interval / 10),
                          static_cast<unsigned long long>(interval % 10 * 100000000 + interval % 1000),
                          static_cast<unsigned long long>(123456 + i),
                          static_cast<unsigned long long>(i / 3 % pmus), EVENTS[i % 3],
                          static_cast<unsigned long long>(100000000 + i));
            file << line.data();
        }
    }
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;
    ~Recording() { unlink(path.c_str()); }

    const std::string& Path() const { return path; }

private:
    std::string path;
};

struct Outcome {
    std::uint64_t counts = 0;
    std::uint64_t sum = 0;
    std::uint64_t intervals = 0;

    bool operator==(const Outcome& other) const
    {
        return counts == other.counts && sum == other.sum && intervals == other.intervals;
    }
};

Outcome ReadWithReplaySource(const std::string& path)
{
    Outcome outcome;
    host::ReplayOptions options;
    options.path = path;
    const host::ReplayResult result = host::OpenReplaySource(options);
    host::CounterBatch batch;
    while (result.source->Read(batch) == host::CounterSource::Status::BATCH) {
        ++outcome.intervals;
        for (const host::CounterSample& sample : batch.samples) {
            ++outcome.counts;
            outcome.sum += sample.count;
        }
    }
    return outcome;
}

Outcome ReadPlainly(const std::string& path)
{
    Outcome outcome;
    std::ifstream file(path);
    std::string line;
    std::string time;
    std::vector<std::string> fields;
    while (std::getline(file, line)) {
        if (line.empty() || line[0] == '#') {
            continue;
        }
        std::istringstream stream(line);
        fields.clear();
        for (std::string field; std::getline(stream, field, ',');) {
            fields.push_back(field);
        }
        if (fields.size() < 6) {
            continue;
        }
        if (fields[0] != time) {
            time = fields[0];
            ++outcome.intervals;
        }
        ++outcome.counts;
        outcome.sum += std::strtoull(fields[1].c_str(), nullptr, 10);
    }
    return outcome;
}

std::map<std::string, double> g_bestSeconds;

template <typename Reader>
void Measure(benchmark::State& state, const std::string& name, Reader reader, const std::string& path)
{
    for ([[maybe_unused]] auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        benchmark::DoNotOptimize(reader(path));
        const double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        const auto best = g_bestSeconds.emplace(name, seconds).first;
        best->second = std::min(best->second, seconds);
    }
}

}  // namespace

int main(int argc, char** argv)
{
    std::vector<bench::Ratio> ratios;
    std::vector<std::unique_ptr<Recording>> recordings;
    for (const std::size_t pmus : {std::size_t(4), std::size_t(100)}) {
        recordings.push_back(std::make_unique<Recording>(pmus));
        const std::string path = recordings.back()->Path();
        // A benchmark that measured two different results would compare nothing.
        if (!(ReadWithReplaySource(path) == ReadPlainly(path))) {
            std::fprintf(stderr, "the two readers differ\n");
            return 1;
        }
        const std::string ours = "replay_source/" + std::to_string(pmus) + "_pmus";
        const std::string plain = "getline_and_streams/" + std::to_string(pmus) + "_pmus";
        benchmark::RegisterBenchmark(ours.c_str(), [ours, path](benchmark::State& state) {
            Measure(state, ours, ReadWithReplaySource, path);
        });
        benchmark::RegisterBenchmark(plain.c_str(), [plain, path](benchmark::State& state) {
            Measure(state, plain, ReadPlainly, path);
        });
        ratios.push_back({"recording lines, " + std::to_string(pmus) + " PMUs", ours, plain,
                          "at least 1 million lines per second"});
    }
    const int status = bench::RunWithRatios(argc, argv, ratios);
    for (const auto& [name, seconds] : g_bestSeconds) {
        std::printf("%-40s %6.2f million lines per second at best\n", name.c_str(),
                    static_cast<double>(LINES) / seconds / 1e6);
    }
    return status;
}
