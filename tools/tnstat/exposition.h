// SPDX-License-Identifier: MIT

#ifndef TOOLS_TNSTAT_EXPOSITION_H
#define TOOLS_TNSTAT_EXPOSITION_H

#include <string>
#include <vector>

#include <prometheus/metric_family.h>

#include "tools/tnstat/metrics_file.h"

namespace tnstat {

/// The reading as metric families. Figures that a dump resets are gauges, and so is everything but the loop
/// count. Without a record only tarnix_build_info, tarnix_up (0) and, where the file exists, its time.
std::vector<prometheus::MetricFamily> MetricFamilies(const Reading& reading);

/// The families in Prometheus's text format 0.0.4.
std::string ExpositionText(const Reading& reading);

}  // namespace tnstat

#endif  // TOOLS_TNSTAT_EXPOSITION_H
