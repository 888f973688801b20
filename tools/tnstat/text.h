// SPDX-License-Identifier: MIT

#ifndef TOOLS_TNSTAT_TEXT_H
#define TOOLS_TNSTAT_TEXT_H

#include <cstdint>

#include <string>

namespace tnstat {

/// "2026-11-21T08:30:00.123Z" for nanoseconds since 1970; the digits of a year beyond 9999 are as many as it
/// takes.
std::string UtcTime(std::int64_t ns);

/// The shortest decimal that reads back as `value`, with a dot whatever the locale.
std::string ShortestFloat(float value);

/// The double whose shortest decimal is that of `value`: 0.955 for 0.955F, not 0.954999983....
double DecimalDouble(float value);

}  // namespace tnstat

#endif  // TOOLS_TNSTAT_TEXT_H
