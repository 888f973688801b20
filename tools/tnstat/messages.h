// SPDX-License-Identifier: MIT

#ifndef TOOLS_TNSTAT_MESSAGES_H
#define TOOLS_TNSTAT_MESSAGES_H

#include <cstddef>
#include <cstdint>

#include <string>

/// Every text that tnstat says beyond its results: one line without line break, outside text escaped.
namespace tnstat::messages {

std::string CannotReadMetrics(const std::string& path, int error);
std::string MetricsNotRegular(const std::string& path);
std::string WrongMetricsSize(const std::string& path, std::size_t size);
std::string ImpossibleMetrics(const std::string& path, const std::string& figure);
std::string ImpossibleNodeCount(std::int32_t count);
std::string ImpossiblePageSize(std::int32_t kb);
std::string ImpossibleScore(float score);

std::string CannotListen(const std::string& ip, unsigned port, int error);
std::string CannotServe(const std::string& ip, unsigned port);
std::string Listening(const std::string& url);
std::string CannotWriteOutput(int error);

}  // namespace tnstat::messages

#endif  // TOOLS_TNSTAT_MESSAGES_H
