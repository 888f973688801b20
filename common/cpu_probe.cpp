// SPDX-License-Identifier: MIT

#include "common/cpu_probe.h"

#include <limits>
#include <string>

#include "common/probe_parsers.h"
#include "common/pseudo_file.h"
#include "common/string_util.h"

namespace {

constexpr uint8_t CPU_TYPE_UNKNOWN = 4;
/// Far beyond the text of the largest machine, and an end to one that never comes.
constexpr size_t MAX_CPUINFO_BYTES = 64U << 20;

}  // namespace

bool IsSmtEnable()
{
    std::string word;
    return probe::ReadFirstWord(probe::PathText().Add("/sys/devices/system/cpu/smt/active").CStr(), word) &&
           word == "1";
}

int GetCpuPhyPacketId(const unsigned& cpu)
{
    probe::PathText path;
    path.Add("/sys/devices/system/cpu/cpu")
        .Add(static_cast<unsigned long>(cpu))
        .Add("/topology/physical_package_id");
    std::string word;
    unsigned package = 0;
    if (!probe::ReadFirstWord(path.CStr(), word) || !StringToUint(word, package) ||
        package > static_cast<unsigned>(std::numeric_limits<int>::max())) {
        return -1;
    }
    return static_cast<int>(package);
}

uint8_t ProcfsGetCpuType()
{
    probe::PseudoFile file(probe::PathText().Add("/proc/cpuinfo").CStr());
    if (!file.IsOpen()) {
        return CPU_TYPE_UNKNOWN;
    }
    probe::LineReader lines(file, probe::CPUINFO_LINE, MAX_CPUINFO_BYTES);
    return probe::ParseCpuType(lines);
}
