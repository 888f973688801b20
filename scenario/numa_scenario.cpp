// SPDX-License-Identifier: MIT

#include "scenario/numa_scenario.h"

#include <cstring>

#include <algorithm>
#include <string_view>

#include "scenario/event_name.h"

namespace {

using event_name::Kind;

static_assert(static_cast<int>(Kind::RX_OUTER) == NumaScenario::RX_OUTER &&
                  static_cast<int>(Kind::RX_SCCL) == NumaScenario::RX_SCCL &&
                  static_cast<int>(Kind::RX_OPS_NUM) == NumaScenario::RX_OPS_NUM,
              "both name the same events");

constexpr std::string_view UNCORE_TOPIC_KEY = "pmu_uncore_collector::uncore::";

using Counts = std::map<NumaScenario::UncoreEvent, unsigned long>;

/// What a batch adds to the period. Neighbouring records go to different lanes, so that one addition need not
/// wait for the one before it.
struct Tally {
    std::uint64_t Sum(NumaScenario::UncoreEvent event) const
    {
        const std::uint64_t* const lane1 = sums + event_name::KINDS;
        return sums[event] + lane1[event];
    }

    std::uint64_t sums[2 * event_name::KINDS] = {};
    bool seen[event_name::KINDS] = {};
};

Kind Recognise(Tally& tally, const char* name)
{
    const Kind kind = event_name::Classify(name);
    tally.seen[kind] = true;
    return kind;
}

/// Counts records by the addresses of their names and looks at each text only once. A collector usually gives
/// one name to many records, and comparing addresses is many times faster than looking at the text. Good for
/// one batch only: during a call of UpdateScoreParam nobody changes the texts, afterwards somebody may.
///
/// A table of 2^BITS slots. A name lives in the slot that its address gives or in the neighbour; when both
/// are taken it pushes out the first. That costs time, never the right answer.
template <unsigned BITS>
class CountByName {
public:
    explicit CountByName(Tally& tally) : tally_(tally)
    {
        // A length that the compiler does not know makes it call memset; for a known one it may put a string
        // instruction, whose start alone takes longer than the call.
        std::size_t length = sizeof(names_);
        asm("" : "+r"(length));
        std::memset(names_, 0, length);
        Put(SlotOf(nullptr), nullptr, event_name::NONE);
    }

    CountByName(const CountByName&) = delete;
    CountByName& operator=(const CountByName&) = delete;

    /// `lane` is 0 or 1.
    void Add(std::size_t lane, const PmuData& record)
    {
        const char* const name = record.eventName;
        std::size_t slot = SlotOf(name);
        if (__builtin_expect(names_[slot] != name, 0)) {
            slot = SlotOfRareName(slot, name);
        }
        sums_[slot][lane * event_name::KINDS] += record.count;
    }

    /// How often a text was looked at.
    std::size_t Looks() const { return looks_; }

private:
    static constexpr std::size_t SLOTS = std::size_t{1} << BITS;

    static std::size_t SlotOf(const char* name)
    {
        // 2^64 over the golden ratio spreads evenly spaced addresses evenly.
        constexpr std::uint64_t GOLDEN = 0x9E3779B97F4A7C15U;
        return static_cast<std::size_t>((reinterpret_cast<std::uintptr_t>(name) * GOLDEN) >> (64 - BITS));
    }

    __attribute__((noinline)) std::size_t SlotOfRareName(std::size_t slot, const char* name)
    {
        const std::size_t beside = slot ^ 1U;
        if (names_[beside] == name && name != nullptr) {
            return beside;
        }
        ++looks_;
        if (names_[slot] != nullptr && names_[beside] == nullptr) {
            slot = beside;
        }
        Put(slot, name, name == nullptr ? event_name::NONE : Recognise(tally_, name));
        return slot;
    }

    void Put(std::size_t slot, const char* name, Kind kind)
    {
        names_[slot] = name;
        sums_[slot] = &tally_.sums[kind];
    }

    Tally& tally_;
    std::size_t looks_ = 0;
    const char* names_[SLOTS];    // null: free
    std::uint64_t* sums_[SLOTS];  // in lane 0; set where a name stands, and where a null name would
};

/// Returns where it stopped: at the end of the batch or a record before it, or earlier when names come back
/// so rarely that looking for their addresses costs more than it saves.
template <unsigned BITS>
std::size_t CountSharedNames(Tally& tally, const PmuData* records, std::size_t length)
{
    constexpr std::size_t STRETCH = 16;
    CountByName<BITS> counter(tally);
    std::size_t i = 0;
    while (i + 1 < length && (counter.Looks() <= length / 4 || 2 * counter.Looks() <= i)) {
        const std::size_t end = std::min(length - 1, i + STRETCH);
        for (; i < end; i += 2) {
            counter.Add(0, records[i]);
            counter.Add(1, records[i + 1]);
        }
    }
    return i;
}

/// The table's size follows the batch's, since clearing it is part of the price.
void CountBatch(Tally& tally, const PmuData* records, std::size_t length)
{
    std::size_t i = 0;
    if (length >= 256) {
        i = CountSharedNames<9>(tally, records, length);
    } else if (length >= 64) {
        i = CountSharedNames<7>(tally, records, length);
    } else if (length >= 8) {
        i = CountSharedNames<5>(tally, records, length);
    }
    for (; i < length; ++i) {
        const char* name = records[i].eventName;
        if (name != nullptr) {
            tally.sums[Recognise(tally, name)] += records[i].count;
        }
    }
}

/// Makes the entries of the events that were seen and have none. All of them exist before the first one moves
/// in, so that a failing allocation changes nothing.
void MakeEntries(Counts& counts, const Tally& tally)
{
    Counts added;
    for (const auto event : {NumaScenario::RX_OUTER, NumaScenario::RX_SCCL, NumaScenario::RX_OPS_NUM}) {
        if (tally.seen[event] && counts.find(event) == counts.end()) {
            added.emplace(event, 0);
        }
    }
    counts.merge(added);
}

/// Where the records of `event` are counted: `unseen` without any, null when the entry is still to be made.
unsigned long* TotalOf(Counts& counts, const Tally& tally, NumaScenario::UncoreEvent event,
                       unsigned long& unseen)
{
    if (!tally.seen[event]) {
        return &unseen;
    }
    const auto entry = counts.find(event);
    return entry == counts.end() ? nullptr : &entry->second;
}

void AddTo(Counts& counts, const Tally& tally)
{
    // Not a loop over the events: this is a good part of what a small batch costs.
    for (;;) {
        unsigned long unseen = 0;
        unsigned long* const outer = TotalOf(counts, tally, NumaScenario::RX_OUTER, unseen);
        unsigned long* const sccl = TotalOf(counts, tally, NumaScenario::RX_SCCL, unseen);
        unsigned long* const opsNum = TotalOf(counts, tally, NumaScenario::RX_OPS_NUM, unseen);
        if (outer != nullptr && sccl != nullptr && opsNum != nullptr) {
            *outer += tally.Sum(NumaScenario::RX_OUTER);
            *sccl += tally.Sum(NumaScenario::RX_SCCL);
            *opsNum += tally.Sum(NumaScenario::RX_OPS_NUM);
            return;
        }
        MakeEntries(counts, tally);
    }
}

}  // namespace

NumaScenario& NumaScenario::GetInstance()
{
    static NumaScenario scenario;
    return scenario;
}

void NumaScenario::UpdateScoreParam(int len, const PmuData* data, int batchInterval)
{
    if (len > 0 && data != nullptr) {
        Tally tally;
        CountBatch(tally, data, static_cast<std::size_t>(len));
        AddTo(counts, tally);
    }
    interval += static_cast<std::uint64_t>(static_cast<std::int64_t>(batchInterval));
}

void NumaScenario::UpdatePmu(const std::string& topicKey, int len, const PmuData* data, int batchInterval)
{
    if (topicKey == UNCORE_TOPIC_KEY) {
        UpdateScoreParam(len, data, batchInterval);
    }
}

void NumaScenario::GetNumaScore(ScenarioNumaScore& out)
{
    const unsigned long ops = counts[RX_OPS_NUM];
    const unsigned long sccl = counts[RX_SCCL];
    const unsigned long outer = counts[RX_OUTER];
    if (ops == 0) {
        out.numaScore = 1.0F;
    } else {
        const float ratio = (static_cast<float>(outer) + static_cast<float>(sccl)) / static_cast<float>(ops);
        out.numaScore = ratio > 1.0F ? 0.0F : 1.0F - ratio;
    }
    out.rxOpsNum = ops;
    out.rxScclNum = sccl;
    out.rxOuterNum = outer;
    out.interval = interval;
}

void NumaScenario::ResetScoreParam()
{
    for (auto& entry : counts) {
        entry.second = 0;
    }
    interval = 0;
}
