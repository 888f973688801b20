// SPDX-License-Identifier: MIT

#include "host/replay_source.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <limits>
#include <string_view>
#include <utility>
#include <vector>

#include "host/line_reader.h"
#include "host/recording_file.h"
#include "host/recording_line.h"
#include "host/recording_messages.h"
#include "host/recording_remarks.h"
#include "host/series_table.h"

namespace host {
namespace {

/// Input without a single line of counts is given up after this much, so that a wrong pipe ends.
constexpr std::uint64_t FRUITLESS_LINES = 1000000;
constexpr std::uint64_t FRUITLESS_BYTES = 268435456;

constexpr std::array<std::string_view, 3> SCORE_EVENTS = {"rx_outer", "rx_sccl", "rx_ops_num"};

constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";

std::int32_t RoundedMs(std::int64_t ns)
{
    const std::int64_t ms = ns / 1000000 + (ns % 1000000 >= 500000 ? 1 : 0);
    return static_cast<std::int32_t>(std::min<std::int64_t>(ms, std::numeric_limits<std::int32_t>::max()));
}

std::int64_t SaturatingSum(std::int64_t a, std::int64_t b)
{
    return a > std::numeric_limits<std::int64_t>::max() - b ? std::numeric_limits<std::int64_t>::max()
                                                            : a + b;
}

class Replay : public ReplaySource {
public:
    Replay(RecordingFile recording, std::string givenSeparator)
        : file(std::move(recording.name)),
          reader(recording.fd, !recording.regular),
          separator(std::move(givenSeparator)),
          separatorGiven(!separator.empty())
    {
        progress.totalBytes = recording.bytes;
    }

    void SetFirstInputMs(int milliseconds)
    {
        firstInputMs = milliseconds;
        reader.SetFirstInputMs(milliseconds);
    }

    std::string Describe() const override { return "recording " + file; }
    bool IsLive() const override { return false; }
    std::string Error() const override { return error; }
    std::vector<std::string> TakeRemarks() override { return remarks.Take(); }
    Status Read(CounterBatch& batch) override;

    ReplayProgress Progress() const override
    {
        ReplayProgress now = progress;
        now.bytes = reader.Bytes();
        now.badLines = remarks.BadLines();
        return now;
    }

private:
    enum class Step {
        DATA,     ///< `line` is a data line
        NOTHING,  ///< a line without a count, or a part of one
        PAUSE,    ///< there is no input for now
        END,
        FAILED,
    };

    Step NextLine();
    Step TakeLine(std::string_view text, bool complete);
    Step PassOver();
    bool BeginsRun() const { return runBegins || line.timeNs < stampNs; }
    void BeginInterval();
    void AddLine(CounterBatch& batch);
    Status EndInterval(CounterBatch& batch);
    Status EndPart(CounterBatch& batch) const;
    Status Finish();
    Step Fail(std::string message);
    void NoteEvent(std::string_view event);
    void RemarkMissingEvents();
    LinePlace Place(std::string_view text) const { return {file, progress.lines, text}; }

    std::string file;
    LineReader reader;
    int firstInputMs = -1;
    std::string separator;
    bool separatorGiven;

    RecordingLine line;  // valid while `pending`
    LineKind lineKind = LineKind::COUNT;
    std::string_view lineText;
    bool pending = false;   // a data line is read and not yet used
    bool runBegins = true;  // the next data line begins a run
    bool intervalOpen = false;
    std::int64_t stampNs = 0;       // of the interval that is open or was last, in its run
    std::int64_t intervalNs = 0;    // its length
    std::uint64_t intervals = 0;    // begun so far, over all runs
    std::uint64_t seriesInRun = 0;  // different series since the run began
    std::uint64_t seriesInInterval = 0;
    SeriesTable table;

    Status status = Status::BATCH;
    std::string error;
    RecordingRemarks remarks;
    std::array<bool, SCORE_EVENTS.size()> eventSeen{};
    ReplayProgress progress;
};

CounterSource::Status Replay::Read(CounterBatch& batch)
{
    batch.Clear();
    if (status != Status::BATCH) {
        return status;
    }
    const std::uint64_t bytesBefore = reader.Bytes();
    for (;;) {
        const Step step = pending ? Step::DATA : NextLine();
        if (step == Step::FAILED) {
            return status;
        }
        if (step == Step::END) {
            return intervalOpen ? EndInterval(batch) : Finish();
        }
        if (step == Step::PAUSE && batch.samples.empty() && batch.notCounted == 0) {
            return Status::WAITING;
        }
        if (step == Step::PAUSE || (step == Step::NOTHING && reader.Bytes() - bytesBefore > MAX_BYTES)) {
            return EndPart(batch);
        }
        if (step == Step::NOTHING) {
            continue;
        }
        if (intervalOpen && (BeginsRun() || line.timeNs != stampNs)) {
            return EndInterval(batch);
        }
        if (!intervalOpen) {
            BeginInterval();
        }
        AddLine(batch);
        if (batch.samples.size() == MAX_SAMPLES) {
            return EndPart(batch);
        }
    }
}

Replay::Step Replay::NextLine()
{
    std::string_view text;
    switch (reader.Next(text)) {
        case LineReader::Status::LINE:
            return TakeLine(text, true);
        case LineReader::Status::LAST_LINE:
            return TakeLine(text, false);
        case LineReader::Status::TOO_LONG:
            ++progress.lines;
            remarks.BadLine(LineKind::TOO_LONG, Place(text), separator);
            return PassOver();
        case LineReader::Status::SKIPPING:
            return PassOver();
        case LineReader::Status::INTERRUPTED:
            return Step::PAUSE;
        case LineReader::Status::END:
            return Step::END;
        case LineReader::Status::TIMED_OUT:
            return Fail(NoWriterMessage(file, firstInputMs));
        case LineReader::Status::FAILED:
            break;
    }
    return Fail(CannotReadMessage(file, reader.ErrorNumber()));
}

Replay::Step Replay::TakeLine(std::string_view text, bool complete)
{
    if (++progress.lines == 1) {
        std::string message = OtherFormat(file, text);
        if (!message.empty()) {
            return Fail(std::move(message));
        }
        if (text.substr(0, BYTE_ORDER_MARK.size()) == BYTE_ORDER_MARK) {
            text.remove_prefix(BYTE_ORDER_MARK.size());
        }
    }
    if (separator.empty()) {
        separator = DetectSeparator(text);
    }
    const LineKind kind = ParseRecordingLine(text, separator, line);
    if (kind <= LineKind::NOT_SUPPORTED) {
        lineText = text;
        lineKind = kind;
        pending = true;
        return Step::DATA;
    }
    if (kind == LineKind::STARTED) {
        runBegins = true;
        // An appended run may have been recorded with another separator.
        separator.resize(separatorGiven ? separator.size() : 0);
    }
    if (IsBadLine(kind)) {
        remarks.BadLine(complete ? kind : LineKind::CUT_OFF, Place(text), separator);
    }
    return PassOver();
}

/// NOTHING, unless there was so much of it that no count is to be expected any more.
Replay::Step Replay::PassOver()
{
    if (progress.segments == 0 && (progress.lines >= FRUITLESS_LINES || reader.Bytes() >= FRUITLESS_BYTES)) {
        return Fail(NoCountAtAllMessage(file, progress.lines, remarks.CauseOfNoCount(progress.lines)));
    }
    return Step::NOTHING;
}

void Replay::BeginInterval()
{
    if (BeginsRun()) {
        if (!runBegins) {
            remarks.TimeStepsBack(Place(lineText), stampNs);
        }
        runBegins = false;
        stampNs = 0;
        seriesInRun = 0;
        ++progress.segments;
    }
    intervalNs = line.timeNs - stampNs;
    stampNs = line.timeNs;
    seriesInInterval = 0;
    intervalOpen = true;
    ++intervals;
    progress.recordedNs = SaturatingSum(progress.recordedNs, intervalNs);
}

void Replay::AddLine(CounterBatch& batch)
{
    pending = false;
    const std::size_t known = table.Size();
    Series* const series = table.Find(line.prefix, line.event);
    if (series == nullptr) {
        remarks.BadLine(LineKind::TOO_MANY_NAMES, Place(lineText), separator);
        return;
    }
    if (table.Size() != known) {
        NoteEvent(series->event);
    }
    seriesInRun += series->segment != progress.segments ? 1 : 0;
    seriesInInterval += series->interval != intervals ? 1 : 0;
    series->segment = progress.segments;
    series->interval = intervals;
    if (lineKind != LineKind::COUNT) {
        ++batch.notCounted;
        remarks.NoCount(lineKind, Place(lineText), series->event);
        return;
    }
    if (line.rounded || line.decimalComma) {
        remarks.Count(Place(lineText), line);
    }
    ++progress.samples;
    CounterSample& sample = batch.samples.emplace_back();
    sample.eventName = series->event.data();
    sample.pmuName = series->pmu;
    sample.count = line.count;
    sample.runningRatio = std::min(line.runningHundredths, 10000U) / 10000.0;
}

CounterSource::Status Replay::EndInterval(CounterBatch& batch)
{
    intervalOpen = false;
    batch.timeNs = progress.recordedNs;
    batch.intervalMs = RoundedMs(intervalNs);
    batch.missing = static_cast<std::uint32_t>(seriesInRun - seriesInInterval);
    if (intervals == 1) {
        RemarkMissingEvents();
    }
    return Status::BATCH;
}

CounterSource::Status Replay::EndPart(CounterBatch& batch) const
{
    batch.timeNs = progress.recordedNs;
    batch.endsPeriod = false;
    return Status::BATCH;
}

CounterSource::Status Replay::Finish()
{
    if (progress.samples == 0) {
        Fail(NoCountAtAllMessage(file, progress.lines, remarks.CauseOfNoCount(progress.lines)));
        return status;
    }
    remarks.Totals(file);
    status = Status::END;
    return status;
}

Replay::Step Replay::Fail(std::string message)
{
    error = std::move(message);
    status = Status::FAILED;
    return Step::FAILED;
}

void Replay::NoteEvent(std::string_view event)
{
    for (std::size_t i = 0; i < SCORE_EVENTS.size(); ++i) {
        eventSeen[i] = eventSeen[i] || event.find(SCORE_EVENTS[i]) != std::string_view::npos;
    }
}

void Replay::RemarkMissingEvents()
{
    std::vector<std::string_view> missing;
    for (std::size_t i = 0; i < SCORE_EVENTS.size(); ++i) {
        if (!eventSeen[i]) {
            missing.push_back(SCORE_EVENTS[i]);
        }
    }
    if (!missing.empty()) {
        remarks.MissingEvents(file, missing);
    }
}

ReplayResult Failure(std::string message)
{
    return {nullptr, std::move(message)};
}

bool IsSeparator(std::string_view text)
{
    if (text.empty() || text.size() > MAX_SEPARATOR) {
        return false;
    }
    return std::none_of(text.begin(), text.end(), [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '.' ||
               c == '\n' || c == '\r' || c == '\0';
    });
}

}  // namespace

bool IsSeparatorText(std::string_view text)
{
    return text == "\\t" || IsSeparator(text);
}

ReplayResult OpenReplaySource(const ReplayOptions& options)
{
    const std::string separator = options.separator == "\\t" ? "\t" : options.separator;
    if (!separator.empty() && !IsSeparator(separator)) {
        return Failure(BadSeparatorMessage(options.separator));
    }
    RecordingFile file = OpenRecordingFile(options.path);
    if (!file.error.empty()) {
        return Failure(std::move(file.error));
    }
    const bool namedFifo = !file.regular && file.fd != STDIN_FILENO;
    auto replay = std::make_unique<Replay>(std::move(file), separator);
    if (namedFifo) {
        replay->SetFirstInputMs(options.firstInputMs);
    }
    return {std::move(replay), {}};
}

}  // namespace host
