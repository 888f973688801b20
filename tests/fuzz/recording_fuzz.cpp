// SPDX-License-Identifier: MIT
//
// Any bytes as a recording: line by line through the parser, and as a whole through the replay source.

#include <cstddef>
#include <cstdint>

#include <algorithm>
#include <string>
#include <string_view>

#include "host/recording_line.h"
#include "host/replay_source.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/memory_file.h"
#include "tests/fuzz/require.h"

namespace {

using fuzz::Require;

bool IsWithin(std::string_view part, std::string_view whole)
{
    return part.empty() ||
           (part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size());
}

void ParseLine(std::string_view line)
{
    const std::string_view found = host::DetectSeparator(line);
    Require(IsWithin(found, line) && found.size() <= host::MAX_SEPARATOR,
            "a separator is a part of its line");
    for (const std::string_view separator :
         {found, std::string_view(","), std::string_view(";"), std::string_view("::"), std::string_view()}) {
        host::RecordingLine parsed;
        const host::LineKind kind = host::ParseRecordingLine(line, separator, parsed);
        if (kind > host::LineKind::NOT_SUPPORTED) {
            continue;
        }
        Require(!separator.empty(), "counts need a separator");
        Require(IsWithin(parsed.event, line) && IsWithin(parsed.prefix, line) && IsWithin(parsed.value, line),
                "texts are parts of the line");
        Require(!parsed.event.empty() && parsed.event.size() <= host::MAX_EVENT, "names are bounded");
        Require(parsed.timeNs >= 0, "time does not wrap");
        Require(IsWithin(host::PmuOfEvent(parsed.event), parsed.event), "a PMU is a part of its event");
    }
}

void CheckBatch(const host::CounterBatch& batch, std::int64_t timeBefore)
{
    Require(batch.timeNs >= timeBefore && batch.intervalMs >= 0, "time goes on");
    Require(batch.endsPeriod || batch.intervalMs == 0, "a part has no interval");
    Require(batch.samples.size() <= host::ReplaySource::MAX_SAMPLES, "batches are bounded");
    for (const host::CounterSample& sample : batch.samples) {
        Require(sample.runningRatio >= 0.0 && sample.runningRatio <= 1.0, "a share is a share");
        Require(!sample.pmuName.empty(), "every count has a PMU or a dash");
        for (const char* c = sample.eventName; *c != '\0'; ++c) {
            Require(*c >= ' ' && *c <= '~', "names are printable");
        }
    }
}

void Replay(const std::string& path, std::size_t size)
{
    host::ReplayOptions options;
    options.path = path;
    const host::ReplayResult result = host::OpenReplaySource(options);
    Require(result.source != nullptr, "a file opens");
    host::CounterBatch batch;
    std::uint64_t samples = 0;
    std::int64_t time = 0;
    host::CounterSource::Status status = result.source->Read(batch);
    while (status == host::CounterSource::Status::BATCH) {
        CheckBatch(batch, time);
        time = batch.timeNs;
        samples += batch.samples.size();
        status = result.source->Read(batch);
    }
    const bool failed = status == host::CounterSource::Status::FAILED;
    Require(failed == !result.source->Error().empty(), "a failure has a reason");
    Require(failed == (samples == 0), "a recording without counts fails");
    Require(samples == result.source->Progress().samples, "samples are counted");
    Require(failed || result.source->Progress().bytes == size, "all of it was read");
    for (const std::string& remark : result.source->TakeRemarks()) {
        Require(remark.find('\n') == std::string::npos, "a remark is one line");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static fuzz::MemoryFile file;
    const std::string_view text = fuzz::TextOf(data, size);
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        ParseLine(text.substr(begin, end - begin));
        begin = end + 1;
    }
    // Opening a source costs a hundred times as much as a line.
    if (fuzz::Thorough(text, 32)) {
        file.Set(text);
        Replay(file.Path(), size);
    }
    return 0;
}
