// SPDX-License-Identifier: MIT
//
// The score engine against its plain form: batches with any names, counts and intervals, through the engine
// or through the instance as a host drives it, scores and reset in between. Everything equal to the bit.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <deque>
#include <limits>
#include <memory>
#include <string_view>
#include <vector>

#include "scenario/numa_scenario.h"
#include "scenario/numa_scenario_ins.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/require.h"

namespace {

using fuzz::InputReader;
using fuzz::Require;

/// As long as the largest table of the engine and a bit more.
constexpr std::size_t MAX_RECORDS = 320;
constexpr std::size_t MAX_NAMES = 64;

/// The formula as it is written down, on sums that were made one by one.
struct PlainScore {
    void Take(const PmuData* records, std::size_t length, std::int32_t batchInterval)
    {
        for (std::size_t i = 0; i < length; ++i) {
            if (records[i].eventName == nullptr) {
                continue;
            }
            const std::string_view name = records[i].eventName;
            if (name.find("rx_outer") != std::string_view::npos) {
                outer += records[i].count;
                seenOuter = true;
            } else if (name.find("rx_sccl") != std::string_view::npos) {
                sccl += records[i].count;
                seenSccl = true;
            } else if (name.find("rx_ops_num") != std::string_view::npos) {
                ops += records[i].count;
                seenOps = true;
            }
        }
        interval += static_cast<std::uint64_t>(static_cast<std::int64_t>(batchInterval));
    }

    float Score() const
    {
        if (ops == 0) {
            return 1.0F;
        }
        // Each step rounded to single precision, by way of a store.
        volatile float crossings = static_cast<float>(outer);
        crossings = crossings + static_cast<float>(sccl);
        volatile float ratio = crossings / static_cast<float>(ops);
        return ratio > 1.0F ? 0.0F : 1.0F - ratio;
    }

    void Reset()
    {
        outer = 0;
        sccl = 0;
        ops = 0;
        interval = 0;
    }

    std::uint64_t outer = 0;
    std::uint64_t sccl = 0;
    std::uint64_t ops = 0;
    std::uint64_t interval = 0;
    bool seenOuter = false;
    bool seenSccl = false;
    bool seenOps = false;
};

/// The name tables of an input: texts in blocks of exactly their length, so that a sanitizer sees a read past
/// the terminator, and pointers to them that come back.
class Names {
public:
    /// Code 0 is a null name; 1 to 15 known texts; up to 127 a text from the input; above, an earlier name.
    const char* Next(InputReader& input)
    {
        static const char* const KNOWN[] = {"rx_outer",
                                            "rx_sccl",
                                            "rx_ops_num",
                                            "uncore_l3c0/rx_outer/",
                                            "uncore_l3c12/rx_sccl/",
                                            "uncore_l3c3/rx_ops_num/",
                                            "rx_ops_nu",
                                            "rx_oute",
                                            "rx_scc",
                                            "xrx_rx_outer",
                                            "rx_sccl_rx_outer",
                                            "rx_ops_num_rx_sccl",
                                            "RX_OUTER",
                                            "",
                                            "uncore_sccl3_l3c0_rx_rx_ops_num_and_a_tail_longer_than_blocks"};
        const auto code = input.Take<std::uint8_t>();
        if (code == 0) {
            return nullptr;
        }
        if (code > 127 && count != 0) {
            return texts[static_cast<std::size_t>(code - 128) % count].get();
        }
        return Keep(code <= 15 ? std::string_view(KNOWN[code - 1]) : input.TakeText(code - 15U));
    }

private:
    const char* Keep(std::string_view text)
    {
        const std::size_t at = count < MAX_NAMES ? count++ : count - 1;
        if (at == MAX_NAMES - 1 && texts[at] != nullptr) {
            return texts[at].get();
        }
        texts[at].reset(new char[text.size() + 1]);
        std::memcpy(texts[at].get(), text.data(), text.size());
        texts[at][text.size()] = '\0';
        return texts[at].get();
    }

    std::unique_ptr<char[]> texts[MAX_NAMES];
    std::size_t count = 0;
};

std::uint64_t Count(InputReader& input)
{
    constexpr std::uint64_t MAX = std::numeric_limits<std::uint64_t>::max();
    constexpr std::uint64_t EDGES[] = {
        0,   1,       (1U << 24) - 1,    1U << 24,         (1U << 24) + 1, UINT64_MAX / 2,
        MAX, MAX - 1, UINT64_C(1) << 63, UINT64_C(1) << 40};
    const auto code = input.Take<std::uint8_t>();
    if (code < 10) {
        return EDGES[code];
    }
    return code < 128 ? code : input.Take<std::uint64_t>();
}

bool SameBits(float left, float right)
{
    return std::memcmp(&left, &right, sizeof(left)) == 0;
}

void CheckRecord(const ScenarioNumaScore& score, const PlainScore& plain)
{
    Require(SameBits(score.numaScore, plain.Score()), "the score is that of the formula, to the bit");
    Require(score.numaScore >= 0.0F && score.numaScore <= 1.0F, "a score lies between 0 and 1");
    Require(score.rxOpsNum == plain.ops && score.rxScclNum == plain.sccl && score.rxOuterNum == plain.outer,
            "the counts are the sums");
    Require(score.interval == plain.interval, "the interval is the sum");
}

void CheckEntries(const NumaScenario& engine, const PlainScore& plain)
{
    const auto holds = [&engine](NumaScenario::UncoreEvent event, bool seen, std::uint64_t sum) {
        const auto entry = engine.counts.find(event);
        return entry == engine.counts.end() ? !seen : entry->second == sum;
    };
    Require(holds(NumaScenario::RX_OUTER, plain.seenOuter, plain.outer) &&
                holds(NumaScenario::RX_SCCL, plain.seenSccl, plain.sccl) &&
                holds(NumaScenario::RX_OPS_NUM, plain.seenOps, plain.ops),
            "an event that was seen has an entry with its sum");
    Require(engine.interval == plain.interval, "the interval grows with every batch");
}

/// The instance as a host sees it: queue, topic, delivered batches, one published record per Run.
class DrivenInstance {
public:
    DrivenInstance()
    {
        instance.messageQueue = std::make_shared<RunMessageQueue>();
        Require(instance.OpenTopic({"scenario_numa", "system_score", ""}).code == 0, "the topic opens");
        Require(instance.messageQueue->messages.size() == 1, "it subscribes");
        instance.messageQueue->messages.clear();
    }

    void Deliver(std::vector<PmuData>& records, std::int32_t count, std::int32_t interval)
    {
        UncoreSampleBatch batch;
        batch.samples = records.data();
        batch.count = count;
        batch.interval = interval;
        char publisher[] = "pmu_uncore_collector";
        char topic[] = "uncore";
        char params[] = "";
        void* data[] = {&batch};
        DataList list;
        list.topic.instanceName = publisher;
        list.topic.topicName = topic;
        list.topic.params = params;
        list.len = 1;
        list.data = data;
        instance.UpdateData(list);
        Require(instance.messageQueue->messages.empty(), "a delivery asks nothing of the host");
    }

    void CheckPublished(const PlainScore& plain)
    {
        instance.Run();
        std::deque<std::shared_ptr<kovari::InstanceRunMessage>>& messages = instance.messageQueue->messages;
        Require(messages.size() == 1, "a run publishes one record");
        kovari::InstanceRunMessage& message = *messages.front();
        Require(message.type == RunType::PUBLISH_DATA && message.dataList.len == 1, "a run publishes");
        Require(message.payload.size() == 1 && message.payload[0] == "scenario_numa::system_score::",
                "under its own key");
        auto* const score = static_cast<ScenarioNumaScore*>(message.dataList.data[0]);
        CheckRecord(*score, plain);
        delete score;
        delete[] message.dataList.data;
        delete[] message.dataList.topic.instanceName;
        delete[] message.dataList.topic.topicName;
        delete[] message.dataList.topic.params;
        messages.clear();
    }

private:
    kovari::NumaScenarioIns instance;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static DrivenInstance instance;
    NumaScenario& engine = NumaScenario::GetInstance();
    engine.counts.clear();
    engine.interval = 0;
    PlainScore plain;
    InputReader input(fuzz::TextOf(data, size));
    Names names;
    std::vector<PmuData> records;
    // An operation: how many records follow (low five bits), how often they are repeated, and what comes
    // then.
    while (!input.IsEmpty()) {
        const auto operation = input.Take<std::uint8_t>();
        records.clear();
        for (unsigned i = 0; i < (operation & 0x1FU) && !input.IsEmpty(); ++i) {
            PmuData record;
            record.eventName = names.Next(input);
            record.count = Count(input);
            records.push_back(record);
        }
        if ((operation & 0x20U) != 0 && !records.empty()) {
            const std::size_t length = records.size();
            const std::size_t wanted = input.Take<std::uint16_t>() % MAX_RECORDS;
            for (std::size_t i = 0; records.size() < wanted; ++i) {
                records.push_back(PmuData(records[i % length]));
            }
        }
        records.shrink_to_fit();  // a read behind the last one leaves the block
        const auto interval = static_cast<std::int32_t>(input.Take<std::int16_t>()) * 60000;
        auto length = static_cast<std::int32_t>(records.size());
        if ((operation & 0x40U) != 0) {
            instance.Deliver(records, length, interval);
        } else {
            // A length below 1 takes the interval alone, whatever the pointer.
            length = (interval & 0x70000) != 0 ? length : -length;
            engine.UpdateScoreParam(length, records.empty() ? nullptr : records.data(), interval);
        }
        plain.Take(records.data(), static_cast<std::size_t>(length > 0 ? length : 0), interval);
        CheckEntries(engine, plain);
        if ((operation & 0x80U) != 0) {
            instance.CheckPublished(plain);
            plain.Reset();
            plain.seenOuter = plain.seenSccl = plain.seenOps = true;
            CheckEntries(engine, plain);
        }
    }
    ScenarioNumaScore score;
    engine.GetNumaScore(score);
    CheckRecord(score, plain);
    Require(engine.counts.size() == 3, "all three events have an entry");
    return 0;
}
