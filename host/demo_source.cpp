// SPDX-License-Identifier: MIT

#include "host/demo_source.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

namespace host {
namespace {

constexpr std::int64_t NS_PER_MS = 1000000;
constexpr std::uint64_t MILLION = 1000000;

struct EventNames {
    const char* pmu;
    const char* outer;
    const char* sccl;
    const char* ops;
};

/// Two sockets with two dies each; the workload's memory is on the first socket.
constexpr std::array<EventNames, 4> PMUS = {{
    {"uncore_l3c0", "uncore_l3c0/rx_outer/", "uncore_l3c0/rx_sccl/", "uncore_l3c0/rx_ops_num/"},
    {"uncore_l3c1", "uncore_l3c1/rx_outer/", "uncore_l3c1/rx_sccl/", "uncore_l3c1/rx_ops_num/"},
    {"uncore_l3c2", "uncore_l3c2/rx_outer/", "uncore_l3c2/rx_sccl/", "uncore_l3c2/rx_ops_num/"},
    {"uncore_l3c3", "uncore_l3c3/rx_outer/", "uncore_l3c3/rx_sccl/", "uncore_l3c3/rx_ops_num/"},
}};

/// What one PMU of a socket receives: operations per millisecond, and how many of a million of them come from
/// the other socket and from the other die.
struct Load {
    std::uint64_t opsPerMs;
    std::uint64_t outer;
    std::uint64_t sccl;
};

/// A chapter of the story. Within it the load goes in a straight line from `from` to `to`, one per socket.
struct Phase {
    std::int64_t lengthMs;
    std::array<Load, 2> from;
    std::array<Load, 2> to;
};

constexpr Load HOME_LOCAL = {60000, 6000, 4000};
constexpr Load AWAY_LOCAL = {20000, 5000, 4000};
constexpr Load HOME_REMOTE = {50000, 175000, 55000};
constexpr Load AWAY_REMOTE = {40000, 100000, 65000};
constexpr Load HOME_TUNED = {60000, 9000, 8000};
constexpr Load AWAY_TUNED = {25000, 8000, 8000};
constexpr Load NOTHING = {0, 0, 0};

constexpr std::array<Phase, 5> STORY = {{
    {3000, {HOME_LOCAL, AWAY_LOCAL}, {HOME_LOCAL, AWAY_LOCAL}},
    {4000, {HOME_LOCAL, AWAY_LOCAL}, {HOME_REMOTE, AWAY_REMOTE}},
    {4000, {HOME_REMOTE, AWAY_REMOTE}, {HOME_REMOTE, AWAY_REMOTE}},
    {3000, {HOME_TUNED, AWAY_TUNED}, {HOME_TUNED, AWAY_TUNED}},
    {2000, {NOTHING, NOTHING}, {NOTHING, NOTHING}},
}};

constexpr std::int64_t StoryMs()
{
    std::int64_t total = 0;
    for (const Phase& phase : STORY) {
        total += phase.lengthMs;
    }
    return total;
}

constexpr std::int64_t STORY_MS = StoryMs();

/// One step of a well-known mixing function on 64-bit integers (splitmix64): the same on every machine.
std::uint64_t Mix(std::uint64_t value)
{
    value += 0x9E3779B97F4A7C15U;
    value = (value ^ (value >> 30U)) * 0xBF58476D1CE4E5B9U;
    value = (value ^ (value >> 27U)) * 0x94D049BB133111EBU;
    return value ^ (value >> 31U);
}

/// `value`, give or take up to `percent` per cent.
std::uint64_t Vary(std::uint64_t value, std::uint64_t percent, std::uint64_t random)
{
    const std::uint64_t share = MILLION / 100 * percent;
    return value / 1000 * (MILLION - share + random % (2 * share + 1)) / 1000;
}

std::uint64_t Between(std::uint64_t from, std::uint64_t to, std::int64_t part, std::int64_t whole)
{
    const std::int64_t difference = static_cast<std::int64_t>(to) - static_cast<std::int64_t>(from);
    return from + static_cast<std::uint64_t>(difference * part / whole);
}

/// Load of a socket at a time of the story.
Load LoadAt(std::int64_t timeMs, std::size_t socket)
{
    for (const Phase& phase : STORY) {
        if (timeMs < phase.lengthMs) {
            const Load& from = phase.from[socket];
            const Load& to = phase.to[socket];
            return {Between(from.opsPerMs, to.opsPerMs, timeMs, phase.lengthMs),
                    Between(from.outer, to.outer, timeMs, phase.lengthMs),
                    Between(from.sccl, to.sccl, timeMs, phase.lengthMs)};
        }
        timeMs -= phase.lengthMs;
    }
    return NOTHING;
}

class Demo : public CounterSource {
public:
    explicit Demo(const DemoOptions& demoOptions) : options(demoOptions)
    {
        options.intervalMs = std::clamp(options.intervalMs, 1, MAX_DEMO_INTERVAL_MS);
    }

    std::string Describe() const override
    {
        return "demonstration: made-up counts of 2 sockets with 2 dies each, seed " +
               std::to_string(options.seed);
    }

    bool IsLive() const override { return false; }
    std::string Error() const override { return {}; }
    std::vector<std::string> TakeRemarks() override { return {}; }

    Status Read(CounterBatch& batch) override
    {
        batch.Clear();
        const std::int64_t startMs = static_cast<std::int64_t>(interval) * options.intervalMs;
        if (!options.repeat && startMs >= STORY_MS) {
            return Status::END;
        }
        for (std::size_t pmu = 0; pmu < PMUS.size(); ++pmu) {
            AddPmu(batch, pmu, LoadAt(startMs % STORY_MS, pmu / 2));
        }
        ++interval;
        batch.intervalMs = options.intervalMs;
        batch.timeNs = (startMs + options.intervalMs) * NS_PER_MS;
        return Status::BATCH;
    }

private:
    void AddPmu(CounterBatch& batch, std::size_t pmu, const Load& load) const
    {
        // Every count depends on its place alone, so that the story may be entered anywhere.
        const std::uint64_t place = Mix(Mix(options.seed) ^ Mix(interval * PMUS.size() + pmu));
        const std::uint64_t length = static_cast<std::uint64_t>(options.intervalMs);
        const std::uint64_t ops = Vary(load.opsPerMs * length, 3, place);
        const std::uint64_t outer = ops / 1000 * Vary(load.outer, 5, Mix(place ^ 1U)) / 1000;
        const std::uint64_t sccl = ops / 1000 * Vary(load.sccl, 5, Mix(place ^ 2U)) / 1000;
        const EventNames& names = PMUS[pmu];
        batch.samples.push_back({names.outer, names.pmu, outer, 1.0});
        batch.samples.push_back({names.sccl, names.pmu, sccl, 1.0});
        batch.samples.push_back({names.ops, names.pmu, ops, 1.0});
    }

    DemoOptions options;
    std::uint64_t interval = 0;
};

}  // namespace

std::unique_ptr<CounterSource> MakeDemoSource(const DemoOptions& options)
{
    return std::make_unique<Demo>(options);
}

}  // namespace host
