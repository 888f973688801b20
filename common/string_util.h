// SPDX-License-Identifier: MIT

#ifndef COMMON_STRING_UTIL_H
#define COMMON_STRING_UTIL_H

#include <string>

#include "common/export.h"

/// Strict decimal: digits only, the whole text, no leading zero but in "0" itself, 0 to 4294967295.
/// False leaves `out` untouched. Any thread.
SCENARIO_NUMA_EXPORT bool StringToUint(const std::string& text, unsigned& out);

/// Fixed notation with `precision` digits after the point (0 to 1000; values outside count as the nearer
/// end), with a dot whatever the locale. Not-a-number and infinities are "nan", "inf" and "-inf". Empty when
/// memory runs out. Any thread.
SCENARIO_NUMA_EXPORT std::string FloatToStr(float value, int precision);

#endif  // COMMON_STRING_UTIL_H
