// SPDX-License-Identifier: MIT

#include "tools/tnstat/messages.h"

#include <cerrno>
#include <system_error>

#include "common/escape_control.h"
#include "common/metrics.h"
#include "common/string_util.h"

namespace tnstat::messages {
namespace {

std::string ErrorText(int error)
{
    return std::generic_category().message(error);
}

std::string ReadingRemedy(int error)
{
    switch (error) {
        case ENOENT:
        case ENOTDIR:
            return "; tarnix writes it while it runs with metrics enabled";
        case EACCES:
            return "; read access to the file and its directory is needed";
        default:
            return "";
    }
}

std::string ListeningRemedy(int error)
{
    switch (error) {
        case EADDRINUSE:
            return "; another program listens there, choose another --port";
        case EADDRNOTAVAIL:
            return "; no interface of this machine has the address, choose another --ip";
        case EACCES:
            return "; ports below 1024 need CAP_NET_BIND_SERVICE, choose another --port";
        case EAFNOSUPPORT:
            return "; this kernel does not speak the protocol of the address";
        default:
            return "";
    }
}

std::string Where(const std::string& ip, unsigned port)
{
    const bool bracketed = ip.find(':') != std::string::npos;
    return (bracketed ? "[" + ip + "]" : ip) + ":" + std::to_string(port);
}

}  // namespace

std::string CannotReadMetrics(const std::string& path, int error)
{
    return "cannot read the metrics file " + runtime::EscapeControl(path) + ": " + ErrorText(error) +
           ReadingRemedy(error);
}

std::string MetricsNotRegular(const std::string& path)
{
    return "the metrics file " + runtime::EscapeControl(path) + " is no regular file";
}

std::string WrongMetricsSize(const std::string& path, std::size_t size)
{
    const std::string found = size > sizeof(SystemMetrics) ? "more" : std::to_string(size);
    return "the metrics file " + runtime::EscapeControl(path) + " holds " + found + " bytes, expected " +
           std::to_string(sizeof(SystemMetrics)) + "; was it written by another version of tarnix?";
}

std::string ImpossibleMetrics(const std::string& path, const std::string& figure)
{
    return "the metrics file " + runtime::EscapeControl(path) + " cannot be right: " + figure;
}

std::string ImpossibleNodeCount(std::int32_t count)
{
    return "it counts " + std::to_string(count) + " NUMA nodes, expected 0 to " +
           std::to_string(METRICS_MAX_NODES);
}

std::string ImpossiblePageSize(std::int32_t kb)
{
    return "its page size is " + std::to_string(kb) + " kB, expected no negative figure";
}

std::string ImpossibleScore(float score)
{
    return "its NUMA score is " + FloatToStr(score, 6) + ", expected 0 to 1";
}

std::string CannotListen(const std::string& ip, unsigned port, int error)
{
    return "cannot listen on " + Where(ip, port) + ": " + ErrorText(error) + ListeningRemedy(error);
}

std::string CannotServe(const std::string& ip, unsigned port)
{
    return "cannot serve on " + Where(ip, port) +
           ": the HTTP server did not start; are threads or memory short?";
}

std::string Listening(const std::string& url)
{
    return "serving " + url;
}

std::string CannotWriteOutput(int error)
{
    return "cannot write the output: " + ErrorText(error);
}

}  // namespace tnstat::messages
