// SPDX-License-Identifier: MIT

#ifndef BENCH_RATIO_REPORT_H
#define BENCH_RATIO_REPORT_H

#include <string>
#include <vector>

namespace bench {

/// Two benchmarks of one run that are held against each other, by their full names ("Score/N:48").
struct Ratio {
    std::string what;      ///< as it stands in the printed line
    std::string ours;      ///< name of the benchmark of our code
    std::string baseline;  ///< name of the benchmark that it is compared with
    std::string goal;      ///< for the reader, for example "at least 8x faster"; printed, never judged
};

/// Runs the registered benchmarks interleaved, 9 repetitions each unless the command line says otherwise, and
/// prints for each pair the two medians (real time per iteration) and both quotients. A pair of which one
/// side did not run (filtered out) is left out. Returns the exit status of the program; 1 when a benchmark
/// reported an error.
int RunWithRatios(int argc, char** argv, const std::vector<Ratio>& ratios);

}  // namespace bench

#endif  // BENCH_RATIO_REPORT_H
