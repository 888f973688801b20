// SPDX-License-Identifier: MIT
//
// Numbers and addresses. The first byte chooses the reader, the rest is the text; each against a plain second
// form or, where there is one, the C library's.

#include <arpa/inet.h>
#include <errno.h>
#include <netinet/in.h>
#include <stdlib.h>
#include <sys/socket.h>

#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include <algorithm>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "common/net_probe.h"
#include "common/string_util.h"
#include "config/conf.h"
#include "config/options.h"
#include "config/validation.h"
#include "config/value_readers.h"
#include "host/cpu_list.h"
#include "host/recording_fields.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/require.h"

namespace {

using fuzz::Require;

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool AllDigits(std::string_view text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), IsDigit);
}

/// Digits only, as they are written out again, up to `max`.
bool PlainUint(std::string_view text, std::uint64_t max, std::uint64_t& value)
{
    if (!AllDigits(text) || text.size() > 19 || (text.size() > 1 && text[0] == '0')) {
        return false;
    }
    value = 0;
    for (const char c : text) {
        value = value * 10 + static_cast<std::uint64_t>(c - '0');
    }
    return value <= max;
}

void CheckUint(const std::string& text)
{
    std::uint64_t expected = 0;
    const bool good = PlainUint(text, std::numeric_limits<std::uint32_t>::max(), expected);
    unsigned value = 4711;
    Require(StringToUint(text, value) == good, "the plain reader agrees about what is a number");
    Require(value == (good ? expected : 4711), "the number, or what was there before");
    Require(!good || std::to_string(value) == text, "a number is written as it was read");

    std::uint32_t option = 4711;
    const TnResult result = CommonParseUint({ParseStage::CMDLINE, {}, text}, "key", option);
    Require(result.code == (good ? 0 : 1) && option == value, "the option's reader agrees");
    Require(good ? result.message.empty()
                 : result.message ==
                       "cmdline error: key should be a unsigned int value but now is " + text + "\n",
            "a failure names the value");
}

void CheckPort(const std::string& text)
{
    static const Option option = GetTnstatPortOpt();
    std::uint64_t expected = 0;
    const bool good = PlainUint(text, 65535, expected) && expected != 0;
    TnStatConf conf;
    conf.port = 4711;
    const TnResult result = option.tnstatParseFunc({ParseStage::CMDLINE, {}, text}, conf);
    Require(result.code == (good ? 0 : 1) && conf.port == (good ? expected : 4711), "a port is 1 to 65535");
    Require(result.code == 0 || result.message == "port should be in range 1-65535 but now is " + text,
            "a failure names the value");
    Require(IsValidPort(static_cast<unsigned>(expected)) == (expected >= 1 && expected <= 65535) ||
                expected > std::numeric_limits<unsigned>::max(),
            "the range is that of ports");
}

bool PlainIpv4(std::string_view text)
{
    for (int part = 0; part < 4; ++part) {
        const std::size_t end = part == 3 ? text.size() : std::min(text.find('.'), text.size());
        std::uint64_t value = 0;
        if (!PlainUint(text.substr(0, end), 255, value)) {
            return false;
        }
        text.remove_prefix(std::min(end + 1, text.size()));
        if (part < 3 && text.empty()) {
            return false;
        }
    }
    return true;
}

/// Number of 16-bit groups in a piece without "::"; -1 when it is no such piece. An IPv4 tail is two groups.
int PlainGroups(std::string_view text, bool mayEndInIpv4)
{
    int groups = 0;
    if (text.empty()) {
        return 0;
    }
    for (;;) {
        const std::size_t end = std::min(text.find(':'), text.size());
        const std::string_view group = text.substr(0, end);
        const bool last = end == text.size();
        if (last && mayEndInIpv4 && PlainIpv4(group)) {
            return groups + 2;
        }
        const auto isHex = [](char c) { return isxdigit(static_cast<unsigned char>(c)) != 0; };
        if (group.empty() || group.size() > 4 || !std::all_of(group.begin(), group.end(), isHex)) {
            return -1;
        }
        ++groups;
        if (last) {
            return groups;
        }
        text.remove_prefix(end + 1);
    }
}

bool PlainIpv6(std::string_view text)
{
    const std::size_t gap = text.find("::");
    if (gap == std::string_view::npos) {
        return PlainGroups(text, true) == 8;
    }
    const int before = PlainGroups(text.substr(0, gap), false);
    const int behind = PlainGroups(text.substr(gap + 2), true);
    return before >= 0 && behind >= 0 && before + behind <= 7;
}

void CheckAddress(const std::string& text)
{
    const bool hasColon = text.find(':') != std::string::npos;
    const bool valid = IsValidIpAddress(text);
    Require(valid == (hasColon ? PlainIpv6(text) : PlainIpv4(text)),
            "the plain reader agrees about addresses");
    if (text.find('\0') == std::string::npos) {
        unsigned char bytes[sizeof(in6_addr)];
        Require(valid == (inet_pton(hasColon ? AF_INET6 : AF_INET, text.c_str(), bytes) == 1),
                "the C library agrees about addresses");
        if (valid) {
            char written[INET6_ADDRSTRLEN];
            Require(inet_ntop(hasColon ? AF_INET6 : AF_INET, bytes, written, sizeof(written)) != nullptr &&
                        IsValidIpAddress(written),
                    "an address in its usual form is one");
        }
    }
    static const Option option = GetTnstatIpOpt();
    TnStatConf conf;
    conf.ip = "kept";
    const TnResult result = option.tnstatParseFunc({ParseStage::CMDLINE, {}, text}, conf);
    Require(result.code == (valid ? 0 : 1) && conf.ip == (valid ? text : "kept"),
            "the option's reader agrees");
}

/// The list another way: a set of bits, filled range by range.
class PlainCpuList {
public:
    /// False for what is no list.
    bool Read(std::string_view text)
    {
        constexpr std::string_view BLANKS = " \t\r\n";
        while (!text.empty() && BLANKS.find(text.front()) != std::string_view::npos) {
            text.remove_prefix(1);
        }
        while (!text.empty() && BLANKS.find(text.back()) != std::string_view::npos) {
            text.remove_suffix(1);
        }
        if (text.empty()) {
            return true;
        }
        for (;;) {
            const std::size_t end = std::min(text.find(','), text.size());
            if (!ReadRange(text.substr(0, end))) {
                return false;
            }
            if (end == text.size()) {
                break;
            }
            text.remove_prefix(end + 1);
        }
        std::sort(cpus.begin(), cpus.end());
        cpus.erase(std::unique(cpus.begin(), cpus.end()), cpus.end());
        return true;
    }

    std::vector<std::uint32_t> cpus;

private:
    static bool Number(std::string_view text, std::uint32_t& value)
    {
        if (!AllDigits(text)) {
            return false;
        }
        value = 0;
        for (const char c : text) {
            value = std::min(value * 10 + static_cast<std::uint32_t>(c - '0'), host::MAX_CPU + 1U);
        }
        return value <= host::MAX_CPU;
    }

    bool ReadRange(std::string_view text)
    {
        const std::size_t dash = text.find('-');
        std::uint32_t first = 0;
        std::uint32_t last = 0;
        std::uint32_t used = 1;
        std::uint32_t size = 1;
        if (dash == std::string_view::npos) {
            if (!Number(text, first)) {
                return false;
            }
            last = first;
        } else {
            const std::string_view rest = text.substr(dash + 1);
            const std::size_t colon = std::min(rest.find(':'), rest.size());
            if (!Number(text.substr(0, dash), first) || !Number(rest.substr(0, colon), last) ||
                last < first) {
                return false;
            }
            if (colon != rest.size()) {
                const std::string_view group = rest.substr(colon + 1);
                const std::size_t slash = group.find('/');
                if (slash == std::string_view::npos || !Number(group.substr(0, slash), used) ||
                    !Number(group.substr(slash + 1), size) || used == 0 || used > size) {
                    return false;
                }
            }
        }
        named += last - first + 1U;
        if (named > host::MAX_CPU + 1U) {
            return false;
        }
        for (std::uint32_t start = first; start <= last; start += size) {
            for (std::uint32_t cpu = start; cpu <= last && cpu < start + used; ++cpu) {
                cpus.push_back(cpu);
            }
        }
        return true;
    }

    std::uint64_t named = 0;
};

void CheckCpuList(std::string_view text)
{
    const host::CpuListResult list = host::ParseCpuList(text);
    PlainCpuList plain;
    const bool good = plain.Read(text);
    Require(list.error.empty() == good, "the plain reader agrees about what is a list of CPUs");
    Require(list.cpus == (good ? plain.cpus : std::vector<std::uint32_t>()), "and about the CPUs");
    Require(list.error.find('\n') == std::string::npos, "a message is one line");
}

void CheckTime(std::string_view text)
{
    std::int64_t timeNs = -4711;
    const host::TimeForm form = host::ParseTime(text, timeNs);
    const std::size_t dot = text.find('.');
    if (dot == std::string_view::npos || !AllDigits(text.substr(0, dot)) ||
        !AllDigits(text.substr(dot + 1)) || text.size() - dot > 10) {
        Require(form == host::TimeForm::NONE && timeNs == -4711, "what is no time gives none");
        return;
    }
    long double exact = 0;  // 64 bits of mantissa: exact as far as it matters
    for (const char c : text.substr(0, dot)) {
        exact = std::min(exact * 10 + static_cast<long double>(c - '0'), 1e19L);
    }
    const bool fits = exact < static_cast<long double>(std::numeric_limits<std::int64_t>::max() / 1000000000);
    Require((form == host::TimeForm::GOOD) == fits, "a time that fits is read");
    if (!fits) {
        Require(form == host::TimeForm::TOO_LARGE && timeNs == -4711, "a time that is too large is told");
        return;
    }
    std::string digits(text.substr(dot + 1));
    digits.resize(9, '0');
    Require(timeNs == static_cast<std::int64_t>(exact) * 1000000000 + std::atoll(digits.c_str()),
            "seconds and nanoseconds");
}

void CheckFigures(std::string_view text)
{
    Require(host::IsDigits(text) == AllDigits(text), "digits are digits");
    const std::size_t mark = std::min(text.find_first_of(".,"), text.size());
    const std::string_view whole = text.substr(0, mark);
    const std::string_view fraction = mark == text.size() ? std::string_view() : text.substr(mark + 1);
    const bool number = AllDigits(whole) && (mark == text.size() || AllDigits(fraction));
    Require(host::IsNumber(text) == number, "a number has digits on both sides of its mark");
    Require(host::IsPercentage(text) == (number && fraction.size() == 2 && whole.size() <= 3),
            "a percentage has two decimals");
    const std::string_view leading = host::LeadingDigits(text);
    Require(std::all_of(leading.begin(), leading.end(), IsDigit) &&
                (leading.size() == text.size() || !IsDigit(text[leading.size()])),
            "leading digits end where they end");
    CheckTime(text);
}

/// Four bytes of a float, two of a precision.
void CheckFloatText(std::string_view text)
{
    fuzz::InputReader input(text);
    const auto value = input.Take<float>();
    const int precision = input.Take<std::int16_t>() % 1100;
    const std::string written = FloatToStr(value, precision);
    if (!std::isfinite(value)) {
        Require(written == (std::isnan(value) ? "nan"
                            : value < 0       ? "-inf"
                                              : "inf"),
                "no number has its word");
        return;
    }
    char plain[1200];
    const int length = std::snprintf(plain, sizeof(plain), "%.*f", std::clamp(precision, 0, 1000),
                                     static_cast<double>(value));
    Require(written == std::string_view(plain, static_cast<std::size_t>(length)),
            "the C library writes it so");
}

/// Three numbers of 32 bits.
void CheckRange(std::string_view text)
{
    fuzz::InputReader input(text);
    const auto value = input.Take<std::uint32_t>();
    const auto min = input.Take<std::uint32_t>();
    const auto max = input.Take<std::uint32_t>();
    const TnResult result = CheckRangeUint("name", value, min, max);
    const bool inside = min <= value && value <= max;
    Require(result.code == (inside ? 0 : 1), "a range holds its ends");
    Require(result.message ==
                (inside ? ""
                        : "name value out of range, min: " + std::to_string(min) +
                              ", max: " + std::to_string(max) + ", current value: " + std::to_string(value)),
            "a failure names range and value");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view input = fuzz::TextOf(data, size);
    if (input.empty()) {
        return 0;
    }
    const std::string_view text = input.substr(1);
    switch (input[0]) {
        case 'u':
            CheckUint(std::string(text));
            break;
        case 'p':
            CheckPort(std::string(text));
            break;
        case 'a':
            CheckAddress(std::string(text));
            break;
        case 'c':
            CheckCpuList(text);
            break;
        case 'n':
            CheckFigures(text);
            break;
        case 'f':
            CheckFloatText(text);
            break;
        case 'r':
            CheckRange(text);
            break;
        default:
            CheckUint(std::string(input));
            CheckAddress(std::string(input));
            CheckFigures(input);
            break;
    }
    return 0;
}
