// SPDX-License-Identifier: MIT

#include <sys/resource.h>

#include <algorithm>

#include "common/probes.h"
#include "tests/faults/machine.h"
#include "tests/faults/operation.h"

namespace faults {
namespace {

/// An operation with a success to tell and a value to fill.
template <typename Value>
Operation Filling(std::string name, Memory memory, std::function<bool(Value&)> call,
                  std::function<std::string(const Value&)> text,
                  std::function<bool(const std::string&, const std::string&)> documented)
{
    struct Outcome {
        bool done = false;
        Value value{};
    };
    return {std::move(name), memory,
            [call, text] {
                auto outcome = std::make_shared<Outcome>();
                return Trial{
                    [call, outcome] { outcome->done = call(outcome->value); },
                    [text, outcome] { return std::to_string(outcome->done) + " " + text(outcome->value); }};
            },
            std::move(documented)};
}

/// False, whatever the value is then.
bool IsFalse(const std::string& state, const std::string& /*before*/)
{
    return state.compare(0, 1, "0") == 0;
}

std::string WordText(const std::string& word)
{
    return word;
}

std::string PagesText(const std::vector<unsigned>& pages)
{
    std::string text;
    for (const unsigned count : pages) {
        text += std::to_string(count) + " ";
    }
    return text;
}

Operation ChangeBalancing()
{
    return {"ProcfsChangeNbState", Memory::NONE,
            [] {
                Machine::Get().Tree().Write("proc/sys/kernel/numa_balancing", "0\n");
                return Trial{[] { ProcfsChangeNbState(true); },
                             [] { return std::string(ProcfsIsNbEnable() ? "on" : "off"); }};
            },
            nullptr};
}

/// The limit is one below the one that is asked for, so that it is both read and set. What the trials leave
/// is the limit that is asked for.
Operation ResourceLimit()
{
    return {
        "SetResourceLimit", Memory::NONE,
        [] {
            rlimit limit{};
            getrlimit(RLIMIT_NOFILE, &limit);
            const auto wanted = static_cast<unsigned>(std::min<rlim_t>(limit.rlim_max, 4096));
            limit.rlim_cur = wanted - 1;
            setrlimit(RLIMIT_NOFILE, &limit);
            auto result = std::make_shared<std::optional<bool>>();
            return Trial{[result, wanted] { *result = SetResourceLimit(wanted); },
                         [result] {
                             rlimit now{};
                             getrlimit(RLIMIT_NOFILE, &now);
                             return (result->has_value() ? Text(**result) : "-") + " " +
                                    std::to_string(now.rlim_cur);
                         }};
        },
        [](const std::string& state, const std::string& before) { return state == "0" + before.substr(1); }};
}

}  // namespace

Operations ProbeOperations()
{
    Machine::Get();
    static const std::string INTERFACE = "an-interface";
    static const std::string ADDRESS = "fe80:0000:0000:0000:0204:61ff:192.168.100.228";
    static const std::string DIRECTORY = ".";
    static const std::string WORD = "word";
    static const std::string NUMBER = "4294967295";
    return {
        Returning("IsDirectoryExists", Memory::NONE, [] { return IsDirectoryExists(DIRECTORY); }, {"0"}),
        Returning("FileExists", Memory::NONE, [] { return FileExists(WORD); }, {"0"}),
        ResourceLimit(),
        Returning("IsSmtEnable", Memory::NONE, [] { return IsSmtEnable(); }, {"0"}),
        Returning("GetNumaFreeMem", Memory::NONE, [] { return GetNumaFreeMem(1); }, {"0"}),
        Filling<unsigned>(
            "StringToUint", Memory::NONE, [](unsigned& out) { return StringToUint(NUMBER, out); },
            [](const unsigned& value) { return std::to_string(value); }, nullptr),
        Returning("GetNetIntfNode", Memory::NONE, [] { return GetNetIntfNode(INTERFACE); }, {"-1"}),
        Filling<std::string>(
            "ReadStrFromFile", Memory::REPORTS, [](std::string& out) { return ReadStrFromFile(WORD, out); },
            WordText, nullptr),
        Returning("GetPageSizeKb", Memory::NONE, [] { return GetPageSizeKb(); }),
        Returning("Kb2Mb", Memory::NONE, [] { return Kb2Mb(1024.0F); }),
        Returning("IsValidPort", Memory::NONE, [] { return IsValidPort(80); }),
        Returning("GetCpuPhyPacketId", Memory::NONE, [] { return GetCpuPhyPacketId(7); }, {"-1"}),
        Returning("ProcfsGetCpuType", Memory::NONE, [] { return ProcfsGetCpuType(); }, {"4"}),
        Returning("ProcfsIsNbEnable", Memory::NONE, [] { return ProcfsIsNbEnable(); }, {"0"}),
        ChangeBalancing(),
        Returning("GetKernelVersion", Memory::REPORTS, [] { return GetKernelVersion(); }, {""}),
        Returning("ProcfsGetComm", Memory::REPORTS, [] { return ProcfsGetComm(42); }, {"_unknown"}),
        Filling<ProcStatus>(
            "GetProcStatus", Memory::REPORTS, [](ProcStatus& status) { return GetProcStatus(42, status); },
            [](const ProcStatus& status) { return status.name + " " + std::to_string(status.ppid); },
            IsFalse),
        Returning("GetCmdline", Memory::REPORTS, [] { return GetCmdline(42); }, {""}),
        Filling<std::vector<unsigned>>(
            "ProcessGetMemDistribution", Memory::REPORTS,
            [](std::vector<unsigned>& pages) { return ProcessGetMemDistribution(42, pages, 2); }, PagesText,
            [](const std::string& state, const std::string& /*before*/) {
                return state == "0 " || state == "0 0 0 ";
            }),
        Returning("IsValidIpAddress", Memory::NONE, [] { return IsValidIpAddress(ADDRESS); }),
        Returning("FloatToStr", Memory::REPORTS, [] { return FloatToStr(0.5F, 20); }, {""}),
    };
}

}  // namespace faults
