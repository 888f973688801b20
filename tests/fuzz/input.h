// SPDX-License-Identifier: MIT

#ifndef TESTS_FUZZ_INPUT_H
#define TESTS_FUZZ_INPUT_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <algorithm>
#include <string_view>

namespace fuzz {

inline std::string_view TextOf(const std::uint8_t* data, std::size_t size)
{
    return size == 0 ? std::string_view() : std::string_view(reinterpret_cast<const char*>(data), size);
}

/// Whether checks that cost many times more than the rest are due for this input: for one in `every` when
/// libFuzzer makes them by the million, for each one when the kept corpus is replayed. Depends on the input
/// alone, so that a find happens again.
inline bool Thorough([[maybe_unused]] std::string_view input, [[maybe_unused]] unsigned every)
{
#ifdef FUZZ_REPLAY
    return true;
#else
    std::uint32_t hash = 2166136261U;
    for (const char c : input) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
    }
    return (hash ^ (hash >> 15)) % every == 0;
#endif
}

/// Takes values off the front of an input; gives zeros once it is used up.
class InputReader {
public:
    explicit InputReader(std::string_view input) : rest(input) {}

    bool IsEmpty() const { return rest.empty(); }

    template <typename Value>
    Value Take()
    {
        Value value{};
        const std::size_t size = std::min(sizeof(value), rest.size());
        std::memcpy(&value, rest.data(), size);
        rest.remove_prefix(size);
        return value;
    }

    std::string_view TakeText(std::size_t size)
    {
        const std::string_view text = rest.substr(0, size);
        rest.remove_prefix(text.size());
        return text;
    }

private:
    std::string_view rest;
};

}  // namespace fuzz

#endif  // TESTS_FUZZ_INPUT_H
