// SPDX-License-Identifier: MIT

#include "tools/numa_score/source_choice.h"

#include <algorithm>
#include <utility>

#include "host/demo_source.h"
#include "host/live_source.h"

namespace numa_score {
namespace {

ChosenSource OpenLive(const Options& options)
{
    host::LiveOptions live;
    live.sysfsRoot = options.sysfsRoot;
    live.mappings = options.mappings;
    host::SourceResult result = host::OpenLiveSource(live);
    return {std::move(result.source), nullptr, std::move(result.error)};
}

ChosenSource OpenDemo(const Options& options)
{
    host::DemoOptions demo;
    demo.seed = options.seed;
    demo.repeat = options.repeat;
    if (options.intervalMs > 0) {
        demo.intervalMs = std::min(options.intervalMs, host::MAX_DEMO_INTERVAL_MS);
    }
    return {host::MakeDemoSource(demo), nullptr, {}};
}

}  // namespace

ChosenSource OpenSource(const Options& options)
{
    switch (options.command) {
        case Command::LIVE:
            return OpenLive(options);
        case Command::REPLAY:
            return OpenRecording(options, options.recording);
        default:
            return OpenDemo(options);
    }
}

ChosenSource OpenRecording(const Options& options, const std::string& path)
{
    host::ReplayOptions replay;
    replay.path = path;
    replay.separator = options.separator;
    host::ReplayResult result = host::OpenReplaySource(replay);
    ChosenSource chosen;
    chosen.replay = result.source.get();
    chosen.source = std::move(result.source);
    chosen.error = std::move(result.error);
    return chosen;
}

}  // namespace numa_score
