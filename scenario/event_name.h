// SPDX-License-Identifier: MIT
//
// Which event a PMU event name stands for. Internal to the score engine; nothing of it is exported.

#ifndef SCENARIO_EVENT_NAME_H
#define SCENARIO_EVENT_NAME_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#elif defined(__ARM_NEON) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
#include <arm_neon.h>
#endif

namespace event_name {

/// What a name was recognised as; a smaller value wins over a larger one within the same name.
enum Kind : std::uint8_t { RX_OUTER = 0, RX_SCCL = 1, RX_OPS_NUM = 2, NONE = 3 };

constexpr std::size_t KINDS = 4;

/// Length of the shortest text that is looked for, "rx_sccl".
constexpr std::size_t SHORTEST_TEXT = 7;

/// The event whose text begins at `at`, where "?x_" was found. The name goes on for at least SHORTEST_TEXT
/// bytes up to and with lastStart[SHORTEST_TEXT - 1]; its terminator may be read as well.
inline Kind KindAt(const char* at, const char* lastStart)
{
    const auto follows = [at](std::size_t offset, const char(&four)[5]) {
        return std::memcmp(at + offset, four, 4) == 0;
    };
    if (at[0] != 'r') {
        return NONE;
    }
    if (follows(3, "sccl")) {
        return RX_SCCL;
    }
    if (follows(3, "oute")) {
        return at[7] == 'r' ? RX_OUTER : NONE;
    }
    if (follows(3, "ops_")) {
        return lastStart - at >= 3 && follows(6, "_num") ? RX_OPS_NUM : NONE;
    }
    return NONE;
}

// Every form below gives the answer of three substring searches for "rx_outer", "rx_sccl" and "rx_ops_num",
// in this order, and reads nothing outside the name and its terminator. Each looks for "x_", which is rare in
// event names, and compares the whole text only around it.

/// One byte after the other; for short names, and for every name on machines without a form of their own.
inline Kind ClassifyBytewise(const char* name, std::size_t length)
{
    Kind best = NONE;
    for (std::size_t i = 0; i + SHORTEST_TEXT <= length; ++i) {
        if (name[i + 1] == 'x' && name[i + 2] == '_') {
            const Kind kind = KindAt(name + i, name + (length - SHORTEST_TEXT));
            if (kind == RX_OUTER) {
                return kind;
            }
            best = kind < best ? kind : best;
        }
    }
    return best;
}

/// Sixteen starting points at a time. `Block::Candidates(at)` sets one of BITS_PER_START bits for each i from
/// 0 to 15 where at[i + 1] and at[i + 2] are "x_", lowest bits first. It reads at[1] to at[17].
template <class Block>
inline Kind ClassifyInBlocks(const char* name, std::size_t length)
{
    constexpr std::ptrdiff_t STARTS = 16;
    if (length < STARTS + 2) {
        return ClassifyBytewise(name, length);
    }
    const char* const lastStart = name + (length - SHORTEST_TEXT);
    const char* block = name;
    std::uint64_t hits = Block::Candidates(block);
    Kind best = NONE;
    for (;;) {
        for (; hits != 0; hits &= hits - 1) {
            const char* const at =
                block + static_cast<unsigned>(__builtin_ctzll(hits)) / Block::BITS_PER_START;
            if (at > lastStart) {
                break;
            }
            const Kind kind = KindAt(at, lastStart);
            if (kind == RX_OUTER) {
                return kind;
            }
            best = kind < best ? kind : best;
        }
        block += STARTS;
        if (block > lastStart) {
            return best;
        }
        // The last load is moved back to end with the last possible start, so that it does not leave the
        // name; the starts that it sees for the second time are shifted out.
        const std::ptrdiff_t back = STARTS - 1 - (lastStart - block);
        hits = back <= 0
                   ? Block::Candidates(block)
                   : Block::Candidates(block - back) >> (static_cast<unsigned>(back) * Block::BITS_PER_START);
    }
}

#if defined(__SSE2__)

struct Sse2Block {
    static constexpr unsigned BITS_PER_START = 1;

    static std::uint64_t Candidates(const char* at)
    {
        const __m128i second = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at + 1));
        const __m128i third = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at + 2));
        const __m128i both = _mm_and_si128(_mm_cmpeq_epi8(second, _mm_set1_epi8('x')),
                                           _mm_cmpeq_epi8(third, _mm_set1_epi8('_')));
        return static_cast<std::uint32_t>(_mm_movemask_epi8(both));
    }
};

constexpr const char* NATIVE_FORM = "SSE2";

inline Kind ClassifyNatively(const char* name, std::size_t length)
{
    return ClassifyInBlocks<Sse2Block>(name, length);
}

#elif defined(__ARM_NEON) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__

struct NeonBlock {
    static constexpr unsigned BITS_PER_START = 4;

    static std::uint64_t Candidates(const char* at)
    {
        const uint8x16_t second = vld1q_u8(reinterpret_cast<const std::uint8_t*>(at + 1));
        const uint8x16_t third = vld1q_u8(reinterpret_cast<const std::uint8_t*>(at + 2));
        const uint8x16_t both = vandq_u8(vceqq_u8(second, vdupq_n_u8('x')), vceqq_u8(third, vdupq_n_u8('_')));
        // Narrowing by four bits leaves one nibble of each byte: the shortest way to a mask on this machine.
        const uint8x8_t nibbles = vshrn_n_u16(vreinterpretq_u16_u8(both), 4);
        return vget_lane_u64(vreinterpret_u64_u8(nibbles), 0) & 0x8888888888888888U;
    }
};

constexpr const char* NATIVE_FORM = "NEON";

inline Kind ClassifyNatively(const char* name, std::size_t length)
{
    return ClassifyInBlocks<NeonBlock>(name, length);
}

#else

constexpr const char* NATIVE_FORM = "bytewise";

inline Kind ClassifyNatively(const char* name, std::size_t length)
{
    return ClassifyBytewise(name, length);
}

#endif

/// The event that `name` stands for; `name` is NUL-terminated and not null.
inline Kind Classify(const char* name)
{
    return ClassifyNatively(name, std::strlen(name));
}

}  // namespace event_name

#endif  // SCENARIO_EVENT_NAME_H
