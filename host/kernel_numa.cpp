// SPDX-License-Identifier: MIT

#include "host/kernel_numa.h"

#include <cerrno>

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>
#include <utility>

#include "host/cpu_list.h"
#include "host/escape.h"
#include "host/pmu_discovery.h"
#include "host/text_file.h"

namespace host {
namespace {

std::string SettingMessage(const char* setting, unsigned value)
{
    return std::string(setting) + " is " + std::to_string(value);
}

std::string BadFileMessage(const std::string& path, const std::string& error)
{
    return EscapeText(path) + ": " + error;
}

std::string NodesNotCountedMessage(const std::string& problem)
{
    return "the kernel's counts of allocated pages are not to be had: " + problem;
}

std::string HintsNotCountedMessage(const std::string& problem)
{
    return "hint faults are not counted: " + problem;
}

std::string TooManyNodesMessage(std::size_t count)
{
    return std::to_string(count) + " nodes are online, the first " + std::to_string(KernelNuma::MAX_NODES) +
           " of them are read";
}

std::string NewNodeMessage(std::uint32_t node)
{
    return "node " + std::to_string(node) + " came after " + std::to_string(KernelNuma::MAX_NODES) +
           " others and is not read";
}

std::string NodesChangedMessage(const std::vector<std::uint32_t>& before,
                                const std::vector<std::uint32_t>& now)
{
    return "nodes that are online changed from " + FormatCpuList(before) + " to " + FormatCpuList(now);
}

/// A setting that is a number; nothing where it is absent or anything else.
std::optional<unsigned> SettingOf(const std::string& path)
{
    const TextFile file = ReadTextFile(path);
    const std::string_view text = TrimText(file.text);
    unsigned value = 0;
    const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (!file.error.empty() || code != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

/// Automatic balancing among all nodes. Other modes sample slow memory alone, whose nodes mostly have no CPU,
/// so that nearly every fault is a remote one.
constexpr unsigned BALANCING_ORDINARY = 1;

}  // namespace

KernelNuma::KernelNuma(std::string sysfsRoot, std::string procfsRoot)
    : sysfs(std::move(sysfsRoot)), procfs(std::move(procfsRoot))
{
}

void KernelNuma::Read()
{
    totals.nodesProblem.clear();
    totals.hintsProblem.clear();
    ReadNodes();
    ReadHints();
    if (!totals.nodesProblem.empty() && !std::exchange(nodesTold, true)) {
        remarks.push_back(NodesNotCountedMessage(totals.nodesProblem));
    }
    if (!totals.hintsProblem.empty() && !std::exchange(hintsTold, true)) {
        remarks.push_back(HintsNotCountedMessage(totals.hintsProblem));
    }
}

void KernelNuma::ReadNodes()
{
    CpuListResult online = ReadOnlineNodes(sysfs);
    totals.nodesOnline = online.cpus.size();
    if (!online.error.empty() || online.cpus.empty()) {
        totals.nodesProblem = online.error.empty() ? "no node is online" : online.error;
        return;
    }
    // Switched off, the counters stand still at 0.
    if (SettingOf(procfs + "/sys/vm/numa_stat") == 0U) {
        totals.nodesProblem = SettingMessage("vm.numa_stat", 0);
        return;
    }
    if (online.cpus.size() > MAX_NODES) {
        totals.nodesProblem = TooManyNodesMessage(online.cpus.size());
        online.cpus.resize(MAX_NODES);
    }
    NoteNodes(online.cpus);
    for (const std::uint32_t number : online.cpus) {
        if (nodes.count(number) != 0 || nodes.size() < MAX_NODES) {
            ReadNode(number, nodes[number]);
        } else {
            totals.nodesProblem = NewNodeMessage(number);
        }
    }
    NoteCpus();
    totals.nodes.clear();
    for (const auto& [number, node] : nodes) {
        totals.nodesCounted = totals.nodesCounted || node.read;
        if (node.read) {
            totals.nodes.push_back({number, node.sum, node.online, node.cpus});
        }
    }
}

void KernelNuma::ReadNode(std::uint32_t number, Node& node)
{
    node.online = true;
    const std::string path = sysfs + "/devices/system/node/node" + std::to_string(number) + "/numastat";
    const TextFile file = ReadTextFile(path);
    if (!file.error.empty()) {
        totals.nodesProblem = file.error;
        return;
    }
    const NodeCountsResult result = ParseNodeCounts(file.text);
    if (!result.error.empty()) {
        totals.nodesProblem = BadFileMessage(path, result.error);
        return;
    }
    if (std::exchange(node.read, true)) {
        AddTo(node.sum, CountedSince(node.last, result.counts));
    }
    node.last = result.counts;
}

void KernelNuma::NoteNodes(const std::vector<std::uint32_t>& online)
{
    if (!lastOnline.empty() && online != lastOnline && nodeRemarks < MAX_REMARKS) {
        ++nodeRemarks;
        remarks.push_back(NodesChangedMessage(lastOnline, online));
    }
    lastOnline = online;
    // One that is gone and was never read leaves no trace.
    for (auto entry = nodes.begin(); entry != nodes.end();) {
        entry->second.online = std::binary_search(online.begin(), online.end(), entry->first);
        entry = entry->second.online || entry->second.read ? std::next(entry) : nodes.erase(entry);
    }
}

void KernelNuma::NoteCpus()
{
    const CpuListResult withCpus = ReadNodesWithCpus(sysfs);
    if (!withCpus.error.empty()) {
        return;
    }
    for (auto& [number, node] : nodes) {
        node.cpus = std::binary_search(withCpus.cpus.begin(), withCpus.cpus.end(), number);
    }
}

void KernelNuma::ReadHints()
{
    const std::string path = procfs + "/vmstat";
    const TextFile file = ReadTextFile(path);
    if (!file.error.empty()) {
        totals.hintsProblem = file.error;
        return;
    }
    const HintCountsResult result = ParseHintCounts(file.text);
    if (!result.error.empty()) {
        totals.hintsProblem = BadFileMessage(path, result.error) +
                              (result.missing ? ", this kernel has no automatic NUMA balancing" : "");
        return;
    }
    if (std::exchange(hintsRead, true)) {
        AddTo(totals.hints, CountedSince(lastHints, result.counts));
    }
    lastHints = result.counts;
    const std::optional<unsigned> balancing = SettingOf(procfs + "/sys/kernel/numa_balancing");
    if (balancing && (*balancing & BALANCING_ORDINARY) == 0) {
        totals.hintsProblem = SettingMessage("kernel.numa_balancing", *balancing);
    } else {
        totals.hintsCounted = true;
    }
}

std::vector<std::string> KernelNuma::TakeRemarks()
{
    return std::exchange(remarks, {});
}

KernelTotals TotalsSince(const KernelTotals& then, const KernelTotals& now)
{
    KernelTotals counted = now;
    for (NodeTotals& node : counted.nodes) {
        const auto before =
            std::find_if(then.nodes.begin(), then.nodes.end(),
                         [&node](const NodeTotals& other) { return other.node == node.node; });
        if (before != then.nodes.end()) {
            node.counts = CountedSince(before->counts, node.counts);
        }
    }
    counted.hints = CountedSince(then.hints, now.hints);
    return counted;
}

}  // namespace host
