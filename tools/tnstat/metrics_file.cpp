// SPDX-License-Identifier: MIT

#include "tools/tnstat/metrics_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "common/owned_descriptor.h"
#include "common/retried_open.h"
#include "tools/tnstat/messages.h"

namespace tnstat {
namespace {

constexpr std::int64_t NS_PER_SECOND = 1000000000;

/// One byte more than a record, so that a longer file shows.
using Bytes = std::array<char, sizeof(SystemMetrics) + 1>;

/// A file may be dated to any year; within a century and a half of 1970 times can be told apart and
/// subtracted.
constexpr std::int64_t MOST_SECONDS = 4600000000;

FileStamp StampOf(const struct stat& status)
{
    const std::int64_t seconds =
        std::clamp(static_cast<std::int64_t>(status.st_mtim.tv_sec), -MOST_SECONDS, MOST_SECONDS);
    return {seconds * NS_PER_SECOND + status.st_mtim.tv_nsec, status.st_ino};
}

/// Bytes read, or -1 with errno.
ssize_t ReadUpTo(int fd, Bytes& bytes)
{
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const ssize_t count = read(fd, bytes.data() + filled, bytes.size() - filled);
        if (count == 0) {
            break;
        }
        if (count < 0 && errno != EINTR) {
            return -1;
        }
        filled += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return static_cast<ssize_t>(filled);
}

Reading Fault(const std::string& fault, const FileStamp& stamp = {})
{
    Reading reading;
    reading.fault = fault;
    reading.stamp = stamp;
    return reading;
}

}  // namespace

std::string ImpossibleFigure(const SystemMetrics& record)
{
    if (record.numaNum < 0 || record.numaNum > METRICS_MAX_NODES) {
        return messages::ImpossibleNodeCount(record.numaNum);
    }
    if (record.pageSizeKb < 0) {
        return messages::ImpossiblePageSize(record.pageSizeKb);
    }
    if (!(record.uncore.numaScore >= 0.0F && record.uncore.numaScore <= 1.0F)) {
        return messages::ImpossibleScore(record.uncore.numaScore);
    }
    return {};
}

Reading ReadMetricsFile(const std::string& path)
{
    const runtime::OwnedDescriptor file(
        runtime::OpenRetrying(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status = {};
    if (file.Get() < 0 || fstat(file.Get(), &status) != 0) {
        return Fault(messages::CannotReadMetrics(path, errno));
    }
    if (!S_ISREG(status.st_mode)) {
        return Fault(messages::MetricsNotRegular(path));
    }
    const FileStamp stamp = StampOf(status);
    Bytes bytes;
    const ssize_t count = ReadUpTo(file.Get(), bytes);
    if (count < 0) {
        return Fault(messages::CannotReadMetrics(path, errno), stamp);
    }
    if (count != static_cast<ssize_t>(sizeof(SystemMetrics))) {
        return Fault(messages::WrongMetricsSize(path, static_cast<std::size_t>(count)), stamp);
    }
    Reading reading;
    reading.stamp = stamp;
    std::memcpy(&reading.record, bytes.data(), sizeof(SystemMetrics));
    if (const std::string impossible = ImpossibleFigure(reading.record); !impossible.empty()) {
        reading.fault = messages::ImpossibleMetrics(path, impossible);
    }
    return reading;
}

}  // namespace tnstat
