// SPDX-License-Identifier: MIT

#ifndef TOOLS_TNSTAT_CSV_H
#define TOOLS_TNSTAT_CSV_H

#include <string>

#include "tools/tnstat/metrics_file.h"

namespace tnstat {

/// The column names, RFC 4180, with the line's end. Columns are only ever added, at the end.
std::string CsvHeader();

/// One reading under these columns. Figures of nodes that the machine does not have are empty; the time is
/// that of the dump, UTC, ISO 8601 with milliseconds; numbers have a dot whatever the locale.
std::string CsvRow(const Reading& reading);

}  // namespace tnstat

#endif  // TOOLS_TNSTAT_CSV_H
