// SPDX-License-Identifier: MIT

#include "scenario/event_name.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/unit/scenario/guarded_pages.h"

namespace {

using event_name::Kind;

struct Form {
    const char* name;
    Kind (*classify)(const char* name, std::size_t length);
};

Kind ClassifyWithLength(const char* name, std::size_t length)
{
    EXPECT_EQ(std::strlen(name), length);
    return event_name::Classify(name);
}

const Form FORMS[] = {
    {"bytewise", event_name::ClassifyBytewise},
    {event_name::NATIVE_FORM, event_name::ClassifyNatively},
    {"as the engine calls it", ClassifyWithLength},
};

/// The definition: three substring searches, in this order.
Kind Plain(const char* name)
{
    if (std::strstr(name, "rx_outer") != nullptr) {
        return event_name::RX_OUTER;
    }
    if (std::strstr(name, "rx_sccl") != nullptr) {
        return event_name::RX_SCCL;
    }
    if (std::strstr(name, "rx_ops_num") != nullptr) {
        return event_name::RX_OPS_NUM;
    }
    return event_name::NONE;
}

/// `text` at `offset` from a 64-byte boundary, with bytes around it that would change the answer if anything
/// looked at them.
class Placed {
public:
    Placed(const std::string& text, std::size_t offset)
    {
        static const char HOSTILE[] = "rx_outer";
        for (std::size_t i = 0; i < sizeof(memory_); ++i) {
            memory_[i] = HOSTILE[i % 8];
        }
        name_ = memory_ + 64 + offset;
        std::memcpy(memory_ + 64 + offset, text.c_str(), text.size() + 1);
        // The eight bytes behind the terminator complete every text that the name leaves unfinished.
        std::memcpy(memory_ + 64 + offset + text.size() + 1, "uter_num", 8);
    }

    const char* Name() const { return name_; }

private:
    alignas(64) char memory_[512] = {};
    const char* name_ = nullptr;
};

void ExpectInEveryForm(const std::string& text, Kind expected)
{
    for (std::size_t offset = 0; offset < 64; ++offset) {
        const Placed placed(text, offset);
        for (const Form& form : FORMS) {
            ASSERT_EQ(form.classify(placed.Name(), text.size()), expected)
                << form.name << ", offset " << offset << ": " << text;
        }
    }
}

TEST(EventName, NativeFormIsWhatThisMachineOffers)
{
#if defined(__x86_64__)
    EXPECT_STREQ(event_name::NATIVE_FORM, "SSE2");
#elif defined(__aarch64__)
    EXPECT_STREQ(event_name::NATIVE_FORM, "NEON");
#else
    EXPECT_STREQ(event_name::NATIVE_FORM, "bytewise");
#endif
}

TEST(EventName, Table)
{
    const struct {
        const char* name;
        Kind kind;
    } cases[] = {
        {"", event_name::NONE},
        {"r", event_name::NONE},
        {"rx_", event_name::NONE},
        {"x_", event_name::NONE},
        {"rx_outer", event_name::RX_OUTER},
        {"rx_sccl", event_name::RX_SCCL},
        {"rx_ops_num", event_name::RX_OPS_NUM},
        {"rx_oute", event_name::NONE},
        {"rx_scc", event_name::NONE},
        {"rx_ops_nu", event_name::NONE},
        {"rx_ops", event_name::NONE},
        {"rx_ops_", event_name::NONE},
        {"x_outer", event_name::NONE},
        {"tx_outer", event_name::NONE},
        {"RX_OUTER", event_name::NONE},
        {"rx_Outer", event_name::NONE},
        {"rx-outer", event_name::NONE},
        {"rx_ outer", event_name::NONE},
        {"rrx_outer", event_name::RX_OUTER},
        {"rx_rx_outer", event_name::RX_OUTER},
        {"rx_outerx", event_name::RX_OUTER},
        {"rx_outrx_outer", event_name::RX_OUTER},
        {"rx_ops_rx_ops_num", event_name::RX_OPS_NUM},
        {"uncore_l3c2/rx_outer/", event_name::RX_OUTER},
        {"uncore_l3c2/rx_sccl/", event_name::RX_SCCL},
        {"uncore_l3c12/rx_ops_num/", event_name::RX_OPS_NUM},
        {"uncore_l3c2/victim_num/", event_name::NONE},
        {"uncore_max_x_rx_x_/", event_name::NONE},
        {"rx_outer rx_sccl", event_name::RX_OUTER},
        {"rx_sccl rx_outer", event_name::RX_OUTER},
        {"rx_sccl rx_ops_num", event_name::RX_SCCL},
        {"rx_ops_num rx_sccl", event_name::RX_SCCL},
        {"rx_ops_num/rx_outer", event_name::RX_OUTER},
        {"rx_ops_num and much later, in another block, rx_sccl", event_name::RX_SCCL},
        {"rx_ops_num and much later rx_sccl and at the very end rx_outer", event_name::RX_OUTER},
        {"rx_sccl and much later, in another block, rx_ops_num", event_name::RX_SCCL},
        {"\xff\x80rx_outer\x80", event_name::RX_OUTER},
        {"rx_oute\xf2", event_name::NONE},
        {"\xf2x_outer", event_name::NONE},
    };
    for (const auto& item : cases) {
        ASSERT_EQ(Plain(item.name), item.kind) << item.name;
        ExpectInEveryForm(item.name, item.kind);
    }
}

TEST(EventName, EveryPositionInNamesOfEveryLength)
{
    for (const char* text : {"rx_outer", "rx_sccl", "rx_ops_num", "rx_oute", "rx_ops_nu", "x_sccl", "rx_"}) {
        const std::size_t size = std::strlen(text);
        for (std::size_t length = size; length <= 70; ++length) {
            for (std::size_t at = 0; at + size <= length; ++at) {
                std::string name(length, 'x');
                name.replace(at, size, text);
                const Placed placed(name, at % 64);
                for (const Form& form : FORMS) {
                    ASSERT_EQ(form.classify(placed.Name(), length), Plain(placed.Name()))
                        << form.name << ": " << name;
                }
            }
        }
    }
}

/// Small, fast, and the same on every machine.
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint32_t Below(std::uint32_t bound)
    {
        state_ ^= state_ << 13U;
        state_ ^= state_ >> 7U;
        state_ ^= state_ << 17U;
        return static_cast<std::uint32_t>(((state_ >> 32U) * bound) >> 32U);
    }

private:
    std::uint64_t state_;
};

/// Writes a name at `to`, at most 120 bytes with its terminator; returns its length. Nothing is erased behind
/// it.
std::size_t WriteRandomName(Random& random, char* to)
{
    static const struct {
        char text[11];
        std::uint8_t size;
    } FRAGMENTS[] = {
        {"rx_outer", 8}, {"rx_sccl", 7}, {"rx_ops_num", 10}, {"rx_oute", 7}, {"rx_scc", 6}, {"rx_ops_nu", 9},
        {"rx_ops_", 7},  {"rx_o", 4},    {"rx_s", 4},        {"rx_", 3},     {"rx", 2},     {"x_", 2},
        {"outer", 5},    {"sccl", 4},    {"ops_num", 7},     {"uncore_", 7}, {"/", 1},      {"l3c2/", 5},
    };
    static const char ALPHABET[] = "rx_outescplnm/01";
    char* end = to;
    for (std::uint32_t pieces = random.Below(6); pieces > 0; --pieces) {
        if (random.Below(3) == 0) {
            const auto& fragment = FRAGMENTS[random.Below(18)];
            std::memcpy(end, fragment.text, 10);  // a fixed size is the fast way; the surplus is overwritten
            end += fragment.size;
        } else {
            for (std::uint32_t letters = random.Below(14); letters > 0; --letters) {
                *end++ = ALPHABET[random.Below(16)];
            }
        }
    }
    *end = '\0';
    return static_cast<std::size_t>(end - to);
}

std::uint64_t OracleNames()
{
    const char* wanted = std::getenv("EVENT_NAME_ORACLE_NAMES");  // for slow machines and valgrind
    return wanted != nullptr ? std::strtoull(wanted, nullptr, 10) : 10'000'000;
}

TEST(EventName, TenMillionRandomNamesAsThreeSearchesAnswer)
{
    alignas(64) char memory[64 + 128] = {};
    Random random(20240611);
    std::uint64_t seen[event_name::KINDS] = {};
    const std::uint64_t names = OracleNames();
    for (std::uint64_t i = 0; i < names; ++i) {
        char* const name = memory + i % 64;
        const std::size_t length = WriteRandomName(random, name);
        const Kind expected = Plain(name);
        ++seen[expected];
        if (event_name::ClassifyBytewise(name, length) != expected ||
            event_name::ClassifyNatively(name, length) != expected ||
            event_name::Classify(name) != expected) {
            FAIL() << "name " << i << ": " << name;
        }
    }
    for (const std::uint64_t count : seen) {
        EXPECT_GT(count, names / 50) << "the names do not exercise every answer";
    }
}

TEST(EventName, ReadsNothingOutsideTheName)
{
    const GuardedPages pages;
    Random random(7);
    const auto check = [](const char* name, std::size_t length) {
        const Kind expected = Plain(name);
        for (const Form& form : FORMS) {
            ASSERT_EQ(form.classify(name, length), expected) << form.name << ": " << name;
        }
    };
    for (int round = 0; round < 20'000; ++round) {
        char text[128];
        const std::size_t length = WriteRandomName(random, text);
        char* const last = pages.End() - length - 1;
        std::memcpy(last, text, length + 1);
        check(last, length);
        std::memcpy(pages.Begin(), text, length + 1);
        check(pages.Begin(), length);
    }
    for (const char* tail : {"", "x_", "rx_", "rx_o", "rx_oute", "rx_ops_", "rx_ops_nu", "rx_scc", "rx_outer",
                             "rx_sccl", "rx_ops_num"}) {
        for (std::size_t length = std::strlen(tail); length < 100; ++length) {
            const std::string text = std::string(length - std::strlen(tail), 'x') + tail;
            char* const last = pages.End() - length - 1;
            std::memcpy(last, text.c_str(), length + 1);
            check(last, length);
        }
    }
}

TEST(EventName, LongNames)
{
    std::string name(1'000'000, 'r');
    EXPECT_EQ(event_name::Classify(name.c_str()), event_name::NONE);
    name += "rx_ops_num";
    EXPECT_EQ(event_name::Classify(name.c_str()), event_name::RX_OPS_NUM);
    name += std::string(100'000, '_') + "rx_sccl";
    EXPECT_EQ(event_name::Classify(name.c_str()), event_name::RX_SCCL);
}

}  // namespace
