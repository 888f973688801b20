// SPDX-License-Identifier: MIT

#include "common/proc_probe.h"

#include <algorithm>
#include <new>
#include <string_view>

#include "common/probe_parsers.h"
#include "common/pseudo_file.h"

namespace {

constexpr std::string_view UNKNOWN_COMM = "_unknown";
constexpr size_t MAX_COMM = 1023;
constexpr size_t MAX_STATUS_BYTES = 4U << 20;
/// A program starts with at most 6 MiB of arguments and environment, but may move the borders afterwards.
constexpr size_t MAX_CMDLINE_BYTES = 8U << 20;
constexpr size_t PORTION_BYTES = 64U << 10;
constexpr size_t MAX_NUMA_MAPS_BYTES = 1U << 30;

template <typename Pid>
probe::PathText ProcPath(Pid pid, std::string_view file) noexcept
{
    probe::PathText path;
    path.Add("/proc/").Add(pid).Add("/").Add(file);
    return path;
}

/// Reads on behind the joined `arguments`, up to MAX_CMDLINE_BYTES in all. `last` becomes the last byte as it
/// was read. False after a read error.
///
/// The bytes go straight into the result, in portions that a processor's cache holds: neither the zeros that
/// resize writes nor the search for NULs goes out to memory.
bool AppendArguments(probe::PseudoFile& file, std::string& arguments, char& last)
{
    size_t length = arguments.size();
    ssize_t count = 1;
    while (count > 0 && length < MAX_CMDLINE_BYTES) {
        const size_t portion = std::min(PORTION_BYTES, MAX_CMDLINE_BYTES - length);
        if (length > PORTION_BYTES) {
            // One reservation in place of growing in steps: pages that stay untouched cost nothing.
            arguments.reserve(MAX_CMDLINE_BYTES);
        }
        arguments.resize(length + portion);
        char* const target = arguments.data() + length;
        count = file.Read(target, portion);
        if (count > 0) {
            last = target[count - 1];
            probe::NulsToBlanks(target, static_cast<size_t>(count));
            length += static_cast<size_t>(count);
        }
    }
    arguments.resize(length);
    return count >= 0;
}

/// The arguments in a file, joined; empty after a read error.
std::string ReadArguments(probe::PseudoFile& file)
{
    char first[4096];
    size_t length = 0;
    ssize_t count = 1;
    while (count > 0 && length < sizeof(first)) {
        count = file.Read(first + length, sizeof(first) - length);
        length += static_cast<size_t>(std::max<ssize_t>(count, 0));
    }
    if (count < 0 || length == 0) {
        return "";
    }
    std::string arguments(first, length);
    char last = arguments.back();
    probe::NulsToBlanks(arguments.data(), arguments.size());
    if (length == sizeof(first) && !AppendArguments(file, arguments, last)) {
        return "";
    }
    if (last == '\0') {
        arguments.pop_back();
    }
    return arguments;
}

}  // namespace

std::string ProcfsGetComm(int pid)
{
    probe::PseudoFile file(ProcPath(pid, "comm").CStr());
    if (!file.IsOpen()) {
        return std::string(UNKNOWN_COMM);
    }
    probe::LineReader lines(file, MAX_COMM, MAX_COMM);
    probe::LinePiece first;
    lines.Next(first);
    try {
        return std::string(lines.Failed() ? UNKNOWN_COMM : first.text);
    } catch (const std::bad_alloc&) {
        return std::string(UNKNOWN_COMM);
    }
}

bool GetProcStatus(unsigned long pid, ProcStatus& status)
{
    probe::PseudoFile file(ProcPath(pid, "status").CStr());
    if (!file.IsOpen()) {
        return false;
    }
    probe::LineReader lines(file, probe::STATUS_LINE, MAX_STATUS_BYTES);
    try {
        probe::ParseProcStatus(lines, status);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return !lines.Failed();
}

std::string GetCmdline(int pid)
{
    probe::PseudoFile file(ProcPath(pid, "cmdline").CStr());
    if (!file.IsOpen()) {
        return "";
    }
    try {
        return ReadArguments(file);
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
