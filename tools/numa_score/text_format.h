// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_TEXT_FORMAT_H
#define TOOLS_NUMA_SCORE_TEXT_FORMAT_H

#include <cstddef>
#include <cstdint>

#include <string>
#include <string_view>

namespace numa_score {

// Numbers and times as text, the same in every locale. Each function appends to `out`.

void AppendUnsigned(std::string& out, std::uint64_t value);
void AppendSigned(std::string& out, std::int64_t value);

/// Fixed notation with `decimals` (at most 9) places; "nan", "inf" and "-inf" for what is no number.
void AppendFixed(std::string& out, double value, int decimals);

/// The shortest text that reads back as the same float.
void AppendShortest(std::string& out, float value);
void AppendShortest(std::string& out, double value);

/// The double whose shortest text is the shortest text of the float: 0.97F becomes 0.97, not
/// 0.9700000286102295. For writers that know doubles only.
double WithDigitsOf(float value);

/// Nanoseconds as seconds with `decimals` (0 to 9) places, cut off: 1234567890 with 3 is "1.234".
void AppendSeconds(std::string& out, std::int64_t ns, int decimals);

/// Nanoseconds since 1970 as UTC: "2026-01-31T04:15:02.123Z", cut off to milliseconds.
void AppendUtc(std::string& out, std::int64_t epochNs);

/// The time of day of AppendUtc alone: "04:15:02.123".
void AppendUtcTimeOfDay(std::string& out, std::int64_t epochNs);

/// A quantity for people in at most 7 characters: "0.0", "9999.9", "123.5k", "12.35M", and on with G, T, P,
/// E.
void AppendScaled(std::string& out, double value);

/// Parts of one, for people: 0.01234 is "1.23%".
void AppendPercent(std::string& out, double share);

/// `text` with blanks before it up to `width` bytes; longer text is not cut.
void AppendRight(std::string& out, std::string_view text, std::size_t width);

}  // namespace numa_score

#endif  // TOOLS_NUMA_SCORE_TEXT_FORMAT_H
