// SPDX-License-Identifier: MIT

#ifndef TOOLS_TNSTAT_SITE_H
#define TOOLS_TNSTAT_SITE_H

#include <cstdint>

#include <functional>
#include <string>

#include "tools/tnstat/history.h"
#include "tools/tnstat/http_server.h"

namespace tnstat {

/// What the exporter answers: "/metrics" for Prometheus, "/" and what belongs to it for people. The metrics
/// file is read anew for each answer that shows it. One thread at a time.
class Site {
public:
    /// Nanoseconds since 1970.
    using WallClock = std::function<std::int64_t()>;

    Site(const std::string& metricsPath, WallClock wallClock);

    HttpAnswer Answer(const std::string& path);

private:
    HttpAnswer Metrics();
    HttpAnswer State();

    std::string file;
    WallClock clock;
    History history;
};

}  // namespace tnstat

#endif  // TOOLS_TNSTAT_SITE_H
