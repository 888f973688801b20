// SPDX-License-Identifier: MIT

#include "common/numa_probe.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "common/probe_parsers.h"
#include "common/pseudo_file.h"

namespace {

const std::string NUMA_BALANCING_PATH = "/proc/sys/kernel/numa_balancing";

constexpr size_t MAX_MEMINFO_BYTES = 1U << 20;

}  // namespace

unsigned long GetNumaFreeMem(int node)
{
    probe::PseudoFile file(
        probe::PathText().Add("/sys/devices/system/node/node").Add(node).Add("/meminfo").CStr());
    if (!file.IsOpen()) {
        return 0;
    }
    probe::LineReader lines(file, probe::MEMINFO_LINE, MAX_MEMINFO_BYTES);
    return probe::ParseMemFree(lines);
}

bool ProcfsIsNbEnable()
{
    std::string word;
    return probe::ReadFirstWord(probe::PathText().Add(NUMA_BALANCING_PATH).CStr(), word) && word == "1";
}

void ProcfsChangeNbState(bool on)
{
    const int fd =
        probe::OpenDescriptor(probe::PathText().Add(NUMA_BALANCING_PATH).CStr(), O_WRONLY | O_TRUNC);
    if (fd < 0) {
        return;
    }
    while (write(fd, on ? "1" : "0", 1) < 0 && errno == EINTR) {
    }
    close(fd);
}
