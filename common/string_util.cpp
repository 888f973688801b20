// SPDX-License-Identifier: MIT

#include "common/string_util.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iomanip>
#include <locale>
#include <new>
#include <sstream>

namespace {

constexpr size_t MAX_UINT_DIGITS = 10;
constexpr int MAX_PRECISION = 1000;

}  // namespace

bool StringToUint(const std::string& text, unsigned& out)
{
    if (text.empty() || text.size() > MAX_UINT_DIGITS || (text.size() > 1 && text.front() == '0')) {
        return false;
    }
    unsigned value = 0;
    const char* end = text.data() + text.size();
    // Takes digits only, no sign and no blank, and refuses what does not fit.
    const auto result = std::from_chars(text.data(), end, value);
    if (result.ec != std::errc{} || result.ptr != end) {
        return false;
    }
    out = value;
    return true;
}

std::string FloatToStr(float value, int precision)
{
    if (std::isnan(value)) {
        return "nan";  // the sign of a not-a-number differs between processors
    }
    try {
        std::ostringstream text;
        text.imbue(std::locale::classic());
        text << std::fixed << std::setprecision(std::clamp(precision, 0, MAX_PRECISION)) << value;
        return text.good() ? text.str() : "";  // a stream that runs out of memory goes bad
    } catch (const std::bad_alloc&) {
        return "";
    }
}
