// SPDX-License-Identifier: MIT

#include "tools/numa_score/compare.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "host/escape.h"
#include "tools/numa_score/csv_writer.h"
#include "tools/numa_score/text_format.h"

namespace numa_score {
namespace {

enum class Unit { COUNT, SECONDS, SCORE, SHARE, RATE };

/// One line of the comparison.
struct Measure {
    const char* key;    ///< in CSV and JSON
    const char* label;  ///< in the table
    Unit unit;
    std::optional<double> first;
    std::optional<double> second;

    std::optional<double> Difference() const
    {
        return first && second ? std::optional<double>(*second - *first) : std::nullopt;
    }
};

std::vector<Measure> Measures(const Summary& a, const Summary& b)
{
    const auto count = [](std::uint64_t value) { return static_cast<double>(value); };
    const auto seconds = [](std::int64_t ns) { return static_cast<double>(ns) / 1e9; };
    return {
        {"periods", "periods", Unit::COUNT, count(a.periods), count(b.periods)},
        {"measured_periods", "measured periods", Unit::COUNT, count(a.measured), count(b.measured)},
        {"duration_seconds", "duration", Unit::SECONDS, seconds(a.durationNs), seconds(b.durationNs)},
        {"score_minimum", "minimum score", Unit::SCORE, a.minimum, b.minimum},
        {"score_percentile5", "5th percentile", Unit::SCORE, a.percentile5, b.percentile5},
        {"score_median", "median", Unit::SCORE, a.median, b.median},
        {"below_threshold_share", "time below threshold", Unit::SHARE, a.belowShare, b.belowShare},
        {"idle_share", "idle time", Unit::SHARE, a.idleShare, b.idleShare},
        {"remote_share", "remote", Unit::SHARE, a.remoteShare, b.remoteShare},
        {"cross_die_share", "cross-die", Unit::SHARE, a.crossDieShare, b.crossDieShare},
        {"ops_per_ms", "operations per ms", Unit::RATE, a.opsPerMs, b.opsPerMs},
    };
}

std::string TableCell(std::optional<double> value, Unit unit, bool signedValue)
{
    if (!value) {
        return "-";
    }
    std::string text = signedValue && *value > 0 ? "+" : "";
    switch (unit) {
        case Unit::COUNT:
            AppendFixed(text, *value, 0);
            break;
        case Unit::SECONDS:
            AppendFixed(text, *value, 3);
            text += " s";
            break;
        case Unit::SCORE:
            AppendFixed(text, *value, 4);
            break;
        case Unit::SHARE:
            AppendPercent(text, *value);
            break;
        case Unit::RATE:
            AppendScaled(text, *value);
            break;
    }
    return text;
}

/// Recordings are told apart by the ends of their paths.
std::string EndOfName(const std::string& name)
{
    constexpr std::size_t WHOLE = 4096;
    constexpr std::size_t LIMIT = 40;
    std::string text = host::EscapeText(name, WHOLE);
    if (text.size() > LIMIT) {
        std::size_t begin = text.size() - LIMIT;
        while (begin < text.size() && (static_cast<unsigned char>(text[begin]) & 0xC0U) == 0x80U) {
            ++begin;  // not in the middle of a character
        }
        text = "..." + text.substr(begin);
    }
    return text;
}

std::string TableText(const NamedSummary& first, const NamedSummary& second,
                      const std::vector<Measure>& measures)
{
    constexpr std::size_t LABEL = 22;
    constexpr std::size_t NARROWEST = 12;
    const std::string names[] = {EndOfName(first.name), EndOfName(second.name)};
    const std::size_t widths[] = {std::max(NARROWEST, names[0].size()), std::max(NARROWEST, names[1].size())};
    std::string out;
    const auto line = [&](const std::string& label, const std::string& a, const std::string& b,
                          const std::string& difference) {
        out += label;
        out.append(LABEL - std::min(LABEL, label.size()), ' ');
        AppendRight(out, a, widths[0]);
        out += "  ";
        AppendRight(out, b, widths[1]);
        out += "  ";
        AppendRight(out, difference, NARROWEST);
        out += '\n';
    };
    line("", names[0], names[1], "difference");
    for (const Measure& measure : measures) {
        line(measure.label, TableCell(measure.first, measure.unit, false),
             TableCell(measure.second, measure.unit, false),
             TableCell(measure.Difference(), measure.unit, true));
    }
    return out;
}

std::string CsvText(const NamedSummary& first, const NamedSummary& second,
                    const std::vector<Measure>& measures)
{
    std::string out = "measure,first,second,difference\nrecording,";
    AppendCsvField(out, host::EscapeText(first.name, first.name.size() * 4));
    out += ',';
    AppendCsvField(out, host::EscapeText(second.name, second.name.size() * 4));
    out += ",\n";
    for (const Measure& measure : measures) {
        out += measure.key;
        for (const std::optional<double>& value : {measure.first, measure.second, measure.Difference()}) {
            out += ',';
            if (value) {
                AppendFixed(out, *value, measure.unit == Unit::COUNT ? 0 : 6);
            }
        }
        out += '\n';
    }
    return out;
}

std::string JsonText(const NamedSummary& first, const NamedSummary& second,
                     const std::vector<Measure>& measures)
{
    using Json = nlohmann::ordered_json;
    const auto orNull = [](std::optional<double> value, Unit unit) {
        if (!value) {
            return Json(nullptr);
        }
        if (unit == Unit::SCORE) {
            return Json(WithDigitsOf(static_cast<float>(*value)));
        }
        return unit == Unit::COUNT ? Json(std::llround(*value)) : Json(*value);
    };
    Json a;
    Json b;
    Json difference;
    a["recording"] = first.name;
    b["recording"] = second.name;
    for (const Measure& measure : measures) {
        a[measure.key] = orNull(measure.first, measure.unit);
        b[measure.key] = orNull(measure.second, measure.unit);
        difference[measure.key] = orNull(measure.Difference(), measure.unit);
    }
    Json object;
    object["first"] = std::move(a);
    object["second"] = std::move(b);
    object["difference"] = std::move(difference);
    return object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace

std::string CompareText(const NamedSummary& first, const NamedSummary& second, Format format)
{
    const std::vector<Measure> measures = Measures(first.summary, second.summary);
    switch (format) {
        case Format::CSV:
            return CsvText(first, second, measures);
        case Format::JSON:
            return JsonText(first, second, measures);
        case Format::TABLE:
            break;
    }
    return TableText(first, second, measures);
}

}  // namespace numa_score
