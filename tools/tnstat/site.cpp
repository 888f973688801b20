// SPDX-License-Identifier: MIT

#include "tools/tnstat/site.h"

#include <utility>

#include "tools/tnstat/exposition.h"
#include "tools/tnstat/page_assets.h"
#include "tools/tnstat/state_json.h"

namespace tnstat {
namespace {

constexpr unsigned NOT_FOUND = 404;

HttpAnswer Text(const std::string& contentType, const std::string& body, bool cacheable)
{
    HttpAnswer answer;
    answer.contentType = contentType;
    answer.body = body;
    answer.cacheable = cacheable;
    return answer;
}

HttpAnswer NotFound()
{
    HttpAnswer answer;
    answer.status = NOT_FOUND;
    answer.body = "404 not found, see / or /metrics\n";
    return answer;
}

}  // namespace

Site::Site(const std::string& metricsPath, WallClock wallClock)
    : file(metricsPath), clock(std::move(wallClock))
{
}

HttpAnswer Site::Answer(const std::string& path)
{
    if (path == "/metrics") {
        return Metrics();
    }
    if (path == "/state.json") {
        return State();
    }
    if (path == "/") {
        return Text("text/html; charset=utf-8", page_assets::HTML, true);
    }
    if (path == "/page.css") {
        return Text("text/css; charset=utf-8", page_assets::CSS, true);
    }
    if (path == "/page.js") {
        return Text("text/javascript; charset=utf-8", page_assets::SCRIPT, true);
    }
    return NotFound();
}

HttpAnswer Site::Metrics()
{
    const Reading reading = ReadMetricsFile(file);
    history.Note(reading);
    return Text("text/plain; version=0.0.4; charset=utf-8", ExpositionText(reading), false);
}

HttpAnswer Site::State()
{
    const Reading reading = ReadMetricsFile(file);
    history.Note(reading);
    return Text("application/json", StateJson(reading, history, clock()), false);
}

}  // namespace tnstat
