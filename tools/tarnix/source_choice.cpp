// SPDX-License-Identifier: MIT

#include "tools/tarnix/source_choice.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <sstream>
#include <utility>

#include "host/demo_source.h"
#include "host/pmu_terms.h"
#include "host/replay_source.h"
#include "tools/tarnix/messages.h"

namespace tarnix {
namespace {

const std::string REPLAY_PREFIX = "replay:";

host::SourceResult OpenRecording(const std::string& path)
{
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        return {nullptr, messages::CannotReadRecording(path, errno)};
    }
    if (!S_ISREG(status.st_mode)) {
        return {nullptr, messages::RecordingNotRegular(path)};
    }
    host::ReplayOptions options;
    options.path = path;
    host::ReplayResult result = host::OpenReplaySource(options);
    return {std::move(result.source), std::move(result.error)};
}

bool IsEvent(const std::string& name)
{
    return name == "rx_outer" || name == "rx_sccl" || name == "rx_ops_num";
}

}  // namespace

std::string ParseSource(const std::string& text, SourceChoice& choice)
{
    if (text == "live") {
        choice.kind = SourceChoice::Kind::LIVE;
        return {};
    }
    if (text == "demo") {
        choice.kind = SourceChoice::Kind::DEMO;
        return {};
    }
    if (text.compare(0, REPLAY_PREFIX.size(), REPLAY_PREFIX) == 0 && text.size() > REPLAY_PREFIX.size()) {
        choice.kind = SourceChoice::Kind::REPLAY;
        choice.recording = text.substr(REPLAY_PREFIX.size());
        return {};
    }
    return messages::UnknownSource(text);
}

std::string ParseMappings(const std::string& text, SourceChoice& choice)
{
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        const std::size_t equals = word.find('=');
        const std::string target = equals == std::string::npos ? "" : word.substr(equals + 1);
        const std::string event = word.substr(0, equals);
        if (!IsEvent(event) || target.empty() || !host::ParseEventSelector(target).error.empty()) {
            return messages::BadMapping(word);
        }
        for (const host::EventMapping& mapping : choice.mappings) {
            if (mapping.eventName == event) {
                return messages::MappedTwice(event);
            }
        }
        choice.mappings.push_back({event, target});
    }
    return {};
}

host::SourceResult OpenSource(const SourceChoice& choice)
{
    switch (choice.kind) {
        case SourceChoice::Kind::REPLAY:
            return OpenRecording(choice.recording);
        case SourceChoice::Kind::DEMO: {
            host::DemoOptions options;
            options.intervalMs = std::clamp(choice.intervalMs, 1, host::MAX_DEMO_INTERVAL_MS);
            return {host::MakeDemoSource(options), {}};
        }
        default: {
            host::LiveOptions options;
            options.sysfsRoot = choice.sysfsRoot;
            options.mappings = choice.mappings;
            options.mapSetting = "TARNIX_MAP";
            return host::OpenLiveSource(options);
        }
    }
}

}  // namespace tarnix
