// SPDX-License-Identifier: MIT

#include "common/proc_probe.h"

#include <algorithm>
#include <new>
#include <string_view>

#include "common/probe_parsers.h"
#include "common/pseudo_file.h"

namespace {

constexpr const char* UNKNOWN_COMM = "_unknown";
constexpr size_t MAX_COMM = 1023;
constexpr size_t MAX_STATUS_BYTES = 4U << 20;
/// A program starts with at most 6 MiB of arguments and environment, but may move the borders afterwards.
constexpr size_t MAX_CMDLINE_BYTES = 8U << 20;
constexpr size_t LONG_PORTION = 64U << 10;
constexpr size_t MAX_NUMA_MAPS_BYTES = 1U << 30;

template <typename Pid>
probe::PathText ProcPath(Pid pid, std::string_view file) noexcept
{
    probe::PathText path;
    path.Add("/proc/").Add(pid).Add("/").Add(file);
    return path;
}

/// The bytes of a command line up to `limit`; empty after a read error.
std::string ReadArguments(probe::PseudoFile& file, size_t limit)
{
    char first[4096];
    ssize_t count = file.Read(first, sizeof(first));
    if (count <= 0) {
        return "";
    }
    std::string bytes(first, static_cast<size_t>(count));
    if (bytes.size() < sizeof(first)) {
        return bytes;  // the kernel fills the buffer as long as there is more
    }
    char portion[LONG_PORTION];
    while (count > 0 && bytes.size() < limit) {
        count = file.Read(portion, std::min(sizeof(portion), limit - bytes.size()));
        if (count == static_cast<ssize_t>(sizeof(portion))) {
            // One reservation in place of growing in steps: pages that stay untouched cost nothing.
            bytes.reserve(limit);
        }
        bytes.append(portion, count > 0 ? static_cast<size_t>(count) : 0);
    }
    return count < 0 ? "" : bytes;
}

}  // namespace

std::string ProcfsGetComm(int pid)
{
    probe::PseudoFile file(ProcPath(pid, "comm").CStr());
    if (!file.IsOpen()) {
        return UNKNOWN_COMM;
    }
    probe::LineReader lines(file, MAX_COMM, MAX_COMM);
    probe::LinePiece first;
    lines.Next(first);
    return lines.Failed() ? std::string(UNKNOWN_COMM) : std::string(first.text);
}

bool GetProcStatus(unsigned long pid, ProcStatus& status)
{
    probe::PseudoFile file(ProcPath(pid, "status").CStr());
    if (!file.IsOpen()) {
        return false;
    }
    probe::LineReader lines(file, probe::STATUS_LINE, MAX_STATUS_BYTES);
    probe::ParseProcStatus(lines, status);
    return !lines.Failed();
}

std::string GetCmdline(int pid)
{
    probe::PseudoFile file(ProcPath(pid, "cmdline").CStr());
    if (!file.IsOpen()) {
        return "";
    }
    try {
        std::string arguments = ReadArguments(file, MAX_CMDLINE_BYTES);
        probe::JoinArguments(arguments);
        return arguments;
    } catch (const std::bad_alloc&) {
        return "";
    }
}

bool ProcessGetMemDistribution(int pid, std::vector<unsigned>& perNode, int nodes)
{
    perNode.clear();
    if (nodes <= 0) {
        return false;
    }
    try {
        perNode.resize(static_cast<size_t>(nodes));
    } catch (const std::bad_alloc&) {
        return false;
    }
    probe::PseudoFile file(ProcPath(pid, "numa_maps").CStr());
    if (!file.IsOpen()) {
        return false;
    }
    probe::NodePageCounter counter(perNode);
    char portion[16384];
    size_t total = 0;
    ssize_t count = 0;
    while (total < MAX_NUMA_MAPS_BYTES && (count = file.Read(portion, sizeof(portion))) > 0) {
        counter.Feed({portion, static_cast<size_t>(count)});
        total += static_cast<size_t>(count);
    }
    if (count < 0) {
        std::fill(perNode.begin(), perNode.end(), 0U);
        return false;
    }
    counter.Finish();
    return true;
}
