// SPDX-License-Identifier: MIT
//
// NumaScenario::UpdateScoreParam against its plain form, for batches of different sizes and kinds of names.

#include <cstdint>
#include <cstring>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/plain_score.h"
#include "bench/ratio_report.h"
#include "scenario/numa_scenario.h"

namespace {

enum class Order { CYCLIC, BLOCKED, SHUFFLED };

struct Shape {
    std::string label;
    int records = 0;
    int names = 0;  ///< texts in memory; equal to `records`: no two records share one
    Order order = Order::CYCLIC;
    bool matching = true;
    double goal = 0;  ///< times as fast as the plain form
};

/// One batch. Every name lives in a heap block of its own, with other blocks of random size in between.
class Batch {
public:
    explicit Batch(const Shape& shape) : records(static_cast<std::size_t>(shape.records))
    {
        static const char* const EVENTS[] = {"rx_outer", "rx_sccl", "rx_ops_num"};
        std::mt19937 random(1);
        std::vector<std::unique_ptr<char[]>> gaps;
        const auto names = static_cast<std::size_t>(shape.names);
        for (std::size_t i = 0; i < names; ++i) {
            const std::string text = "uncore_l3c" + std::to_string(i / 3 % 64) + "/" +
                                     (shape.matching ? EVENTS[i % 3] : "victim_num") + "/";
            gaps.emplace_back(new char[16 + random() % 200]);
            texts_.emplace_back(new char[text.size() + 1]);
            std::memcpy(texts_.back().get(), text.c_str(), text.size() + 1);
        }
        std::vector<std::size_t> pick(records.size());
        for (std::size_t i = 0; i < pick.size(); ++i) {
            pick[i] = shape.order == Order::BLOCKED ? i * names / pick.size() : i % names;
        }
        if (shape.order == Order::SHUFFLED) {
            std::shuffle(pick.begin(), pick.end(), random);
        }
        for (std::size_t i = 0; i < records.size(); ++i) {
            records[i].eventName = texts_[pick[i]].get();
            records[i].count = i * 7 + 1;
        }
    }

    std::vector<PmuData> records;

private:
    std::vector<std::unique_ptr<char[]>> texts_;
};

void Plain(benchmark::State& state, const Shape& shape)
{
    const Batch batch(shape);
    bench::PlainScore score;
    for ([[maybe_unused]] auto _ : state) {
        score.Update(shape.records, batch.records.data(), 100);
        benchmark::ClobberMemory();
    }
}

void Engine(benchmark::State& state, const Shape& shape)
{
    const Batch batch(shape);
    NumaScenario& score = NumaScenario::GetInstance();
    for ([[maybe_unused]] auto _ : state) {
        score.UpdateScoreParam(shape.records, batch.records.data(), 100);
        benchmark::ClobberMemory();
    }
}

/// A benchmark that measured two different results would compare nothing.
bool SameResult(const Shape& shape)
{
    const Batch batch(shape);
    bench::PlainScore plain;
    NumaScenario& engine = NumaScenario::GetInstance();
    engine.counts.clear();
    plain.Update(shape.records, batch.records.data(), 100);
    engine.UpdateScoreParam(shape.records, batch.records.data(), 100);
    return plain.counts == engine.counts;
}

std::vector<Shape> Shapes()
{
    std::vector<Shape> shapes;
    const auto add = [&shapes](const std::string& kind, int records, int names, Order order, bool matching,
                               double goal) {
        shapes.push_back(
            {kind + "/" + std::to_string(records) + "_records/" + std::to_string(names) + "_names", records,
             names, order, matching, goal});
    };
    for (const int records : {48, 300, 3000}) {
        add("shared_cyclic", records, 3, Order::CYCLIC, true, 8);
        add("shared_blocked", records, 3, Order::BLOCKED, true, 8);
        add("shared_shuffled", records, 3, Order::SHUFFLED, true, 8);
    }
    // Every text has to be looked at once: the fewer records share a name, the less there is to win.
    for (const int names : {12, 24, 48, 96}) {
        for (const int records : {48, 96, 300, 3000}) {
            if (records > names) {
                add("shared_cyclic", records, names, Order::CYCLIC, true, 8);
                add("shared_blocked", records, names, Order::BLOCKED, true, 8);
            }
        }
    }
    for (const int records : {48, 300, 3000}) {
        add("distinct", records, records, Order::CYCLIC, true, 1.8);
        add("matching_nothing_distinct", records, records, Order::CYCLIC, false, 1);
        add("matching_nothing_shared", records, 3, Order::CYCLIC, false, 1);
    }
    for (const int records : {1, 3, 7, 8, 9, 12}) {
        add("few", records, std::min(records, 3), Order::CYCLIC, true, 1);
        add("few_matching_nothing", records, std::min(records, 3), Order::CYCLIC, false, 1);
    }
    return shapes;
}

}  // namespace

int main(int argc, char** argv)
{
    std::vector<bench::Ratio> ratios;
    for (const Shape& shape : Shapes()) {
        if (!SameResult(shape)) {
            std::fprintf(stderr, "score_bench: %s: the engine and the plain form disagree\n",
                         shape.label.c_str());
            return 1;
        }
        const std::string plain = shape.label + "/plain";
        const std::string engine = shape.label + "/engine";
        benchmark::RegisterBenchmark(plain.c_str(), Plain, shape);
        benchmark::RegisterBenchmark(engine.c_str(), Engine, shape);
        std::string goal = "none";
        if (shape.goal > 0) {
            goal = "at least " + std::to_string(shape.goal).substr(0, 3) + "x faster";
        }
        ratios.push_back({shape.label, engine, plain, goal});
    }
    return bench::RunWithRatios(argc, argv, ratios);
}
