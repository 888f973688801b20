// SPDX-License-Identifier: MIT

#include "host/pmu_discovery.h"

#include <cerrno>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <system_error>

#include "host/escape.h"
#include "host/text_file.h"

namespace host {
namespace {

constexpr std::size_t MAX_REMARKS = 16;
constexpr std::string_view DEVICES = "/bus/event_source/devices";

std::string AtFile(const std::string& path, const std::string& problem)
{
    return EscapeText(path) + ":1: " + problem;
}

std::string TypeMessage(const std::string& path, std::string_view text)
{
    return AtFile(path, "PMU type '" + EscapeText(text, 64) + "': expected a number below 4294967296");
}

std::string NoTreeMessage(const std::string& reason)
{
    return reason + "; expected the PMUs of the kernel there, mount sysfs or give another --sysfs-root";
}

std::string CutMessage(const std::string& path)
{
    return EscapeText(path) + ": more than " + std::to_string(DIRECTORY_LIMIT) +
           " entries, the rest is not used";
}

std::string OddNameMessage(const std::string& path, const std::string& name)
{
    return EscapeText(path) + ": '" + EscapeText(name, 96) + "' cannot be the name of a PMU, passed over";
}

std::string LeadsOutMessage(const std::string& path)
{
    return EscapeText(path) + ": leads out of the tree, passed over";
}

std::string NoPmuMessage(const std::string& path)
{
    return "no PMU at " + EscapeText(path) + "; numa-score list shows the PMUs of this machine";
}

std::string EmptyMaskMessage(const std::string& path)
{
    return AtFile(path, "names no CPU, expected at least one to read the counters from");
}

/// Files that describe an event beside it: they are no events.
bool IsEventAttribute(std::string_view name)
{
    for (const std::string_view suffix : {".scale", ".unit", ".per-pkg", ".snapshot"}) {
        if (name.size() > suffix.size() && name.substr(name.size() - suffix.size()) == suffix) {
            return true;
        }
    }
    return false;
}

/// Canonical form of `path`; empty when there is nothing.
std::string Canonical(const std::string& path)
{
    std::error_code error;
    const std::filesystem::path canonical = std::filesystem::canonical(path, error);
    return error ? std::string() : canonical.string();
}

bool IsInside(const std::string& directory, const std::string& root)
{
    return directory.size() > root.size() && directory.compare(0, root.size(), root) == 0 &&
           (root.back() == '/' || directory[root.size()] == '/');
}

/// A directory of a PMU; never a link, so that it cannot lead elsewhere.
DirectoryListing ListPart(const std::string& path)
{
    std::error_code error;
    if (!std::filesystem::is_directory(std::filesystem::symlink_status(path, error))) {
        DirectoryListing none;
        none.errorNumber = ENOENT;
        return none;
    }
    return ListDirectory(path);
}

bool IsOneOf(const std::vector<std::string>& names, std::string_view name)
{
    return std::find(names.begin(), names.end(), name) != names.end();
}

std::vector<std::string> EventNames(const std::string& directory)
{
    std::vector<std::string> events;
    for (std::string& name : ListPart(directory + "/events").names) {
        if (IsPmuName(name) && !IsEventAttribute(name)) {
            events.push_back(std::move(name));
        }
    }
    return events;
}

CpuListResult ReadCpuList(const std::string& path)
{
    const TextFile file = ReadTextFile(path);
    if (!file.error.empty()) {
        return {{}, file.error};
    }
    CpuListResult list = ParseCpuList(file.text);
    if (!list.error.empty()) {
        list.error = AtFile(path, list.error);
    }
    return list;
}

void ReadType(const std::string& directory, PmuFacts& facts)
{
    const std::string path = directory + "/type";
    const TextFile file = ReadTextFile(path);
    if (!file.error.empty()) {
        facts.error = file.error;
        return;
    }
    const std::string_view text = TrimText(file.text);
    const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), facts.type);
    if (code != std::errc() || end != text.data() + text.size()) {
        facts.error = TypeMessage(path, text);
    }
}

void ReadCpus(const std::string& directory, PmuFacts& facts)
{
    std::string path = directory + "/cpumask";
    TextFile file = ReadTextFile(path);
    facts.scope = CpuScope::MASK;
    if (file.errorNumber == ENOENT) {
        path = directory + "/cpus";
        file = ReadTextFile(path);
        facts.scope = CpuScope::CPUS;
    }
    if (file.errorNumber == ENOENT) {
        facts.scope = CpuScope::NONE;
        return;
    }
    if (!file.error.empty()) {
        facts.error = file.error;
        return;
    }
    CpuListResult list = ParseCpuList(file.text);
    if (!list.error.empty()) {
        facts.error = AtFile(path, list.error);
    } else if (list.cpus.empty()) {
        facts.error = EmptyMaskMessage(path);
    }
    facts.cpus = std::move(list.cpus);
}

/// The PMU `name`, all but its facts; `error` is set when the entry does not lead to a directory in the tree.
Pmu OpenEntry(const std::string& root, const std::string& devices, const std::string& name)
{
    Pmu pmu;
    pmu.name = name;
    const std::string path = devices + "/" + name;
    pmu.directory = Canonical(path);
    std::error_code error;
    if (pmu.directory.empty() || !std::filesystem::is_directory(pmu.directory, error)) {
        pmu.error = NoPmuMessage(path);
    } else if (!IsInside(pmu.directory, root)) {
        pmu.error = LeadsOutMessage(path);
    }
    if (!pmu.error.empty()) {
        pmu.directory.clear();
        return pmu;
    }
    pmu.events = EventNames(pmu.directory);
    return pmu;
}

void Remark(std::vector<std::string>& remarks, std::string remark)
{
    if (remarks.size() < MAX_REMARKS) {
        remarks.push_back(std::move(remark));
    }
}

}  // namespace

PmuScan ScanPmus(const std::string& sysfsRoot, const std::vector<std::string>& eventNames)
{
    PmuScan scan;
    const std::string devices = sysfsRoot + std::string(DEVICES);
    const std::string root = Canonical(sysfsRoot);
    const DirectoryListing listing = ListDirectory(devices);
    if (root.empty() || !listing.error.empty()) {
        scan.error = NoTreeMessage(listing.error);
        return scan;
    }
    if (listing.cut) {
        Remark(scan.remarks, CutMessage(devices));
    }
    for (const std::string& name : listing.names) {
        if (!IsPmuName(name)) {
            Remark(scan.remarks, OddNameMessage(devices, name));
            continue;
        }
        Pmu pmu = OpenEntry(root, devices, name);
        if (!pmu.error.empty()) {
            Remark(scan.remarks, pmu.error);
            continue;
        }
        scan.names.push_back(name);
        for (const std::string& event : eventNames) {
            if (!IsOneOf(pmu.events, event)) {
                pmu.missing.push_back(event);
            }
        }
        if (pmu.missing.size() == eventNames.size()) {
            continue;
        }
        pmu.facts = ReadPmuFacts(pmu.directory);
        pmu.error = pmu.facts.error;
        const bool usable = pmu.missing.empty() && pmu.error.empty();
        (usable ? scan.usable : scan.unusable).push_back(std::move(pmu));
    }
    return scan;
}

std::vector<std::string> MatchPmus(const std::vector<std::string>& names, std::string_view name)
{
    std::vector<std::string> matches;
    for (const std::string& candidate : names) {
        if (candidate == name) {
            return {candidate};
        }
        if (candidate.size() <= name.size() || candidate.compare(0, name.size(), name) != 0) {
            continue;
        }
        std::string_view rest = std::string_view(candidate).substr(name.size());
        if (rest.front() == '_') {
            rest.remove_prefix(1);
        }
        if (!rest.empty() && rest.find_first_not_of("0123456789") == std::string_view::npos) {
            matches.push_back(candidate);
        }
    }
    return matches;
}

Pmu ReadPmu(const std::string& sysfsRoot, const std::string& name)
{
    const std::string devices = sysfsRoot + std::string(DEVICES);
    if (!IsPmuName(name)) {
        Pmu pmu;
        pmu.name = name;
        pmu.error = OddNameMessage(devices, name);
        return pmu;
    }
    const std::string root = Canonical(sysfsRoot);
    if (root.empty()) {
        Pmu pmu;
        pmu.name = name;
        pmu.error = NoPmuMessage(devices + "/" + name);
        return pmu;
    }
    Pmu pmu = OpenEntry(root, devices, name);
    if (pmu.error.empty()) {
        pmu.facts = ReadPmuFacts(pmu.directory);
        pmu.error = pmu.facts.error;
    }
    return pmu;
}

PmuFacts ReadPmuFacts(const std::string& directory)
{
    PmuFacts facts;
    ReadType(directory, facts);
    if (facts.error.empty()) {
        ReadCpus(directory, facts);
    }
    return facts;
}

std::vector<FormatTerm> ReadFormats(const Pmu& pmu)
{
    std::vector<FormatTerm> formats;
    const std::string directory = pmu.directory + "/format";
    const std::string prefix = directory + "/";
    for (const std::string& name : ListPart(directory).names) {
        if (!IsPmuName(name)) {
            continue;
        }
        const std::string path = prefix + name;
        const TextFile file = ReadTextFile(path);
        FormatTerm term;
        if (file.error.empty()) {
            term = ParseFormat(name, file.text);
            if (!term.error.empty()) {
                term.error = AtFile(path, term.error);
            }
        } else {
            term.name = name;
            term.error = file.error;
        }
        formats.push_back(std::move(term));
    }
    return formats;
}

EventTermsResult ReadEvent(const Pmu& pmu, const std::string& event)
{
    const std::string path = pmu.directory + "/events/" + event;
    const TextFile file = ReadTextFile(path);
    if (!file.error.empty()) {
        return {{}, file.error};
    }
    EventTermsResult result = ParseEventTerms(file.text);
    if (!result.error.empty()) {
        result.error = AtFile(path, result.error);
    }
    return result;
}

CpuListResult ReadOnlineCpus(const std::string& sysfsRoot)
{
    return ReadCpuList(sysfsRoot + "/devices/system/cpu/online");
}

CpuListResult ReadOnlineNodes(const std::string& sysfsRoot)
{
    return ReadCpuList(sysfsRoot + "/devices/system/node/online");
}

CpuListResult ReadNodesWithCpus(const std::string& sysfsRoot)
{
    return ReadCpuList(sysfsRoot + "/devices/system/node/has_cpu");
}

}  // namespace host
