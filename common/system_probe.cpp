// SPDX-License-Identifier: MIT

#include "common/system_probe.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <new>

#include "common/probe_parsers.h"
#include "common/pseudo_file.h"

namespace {

constexpr long MIN_PAGE_SIZE_KB = 4;
constexpr size_t VERSION_LINE = 4000;

}  // namespace

bool SetResourceLimit(unsigned n)
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return false;
    }
    if (limit.rlim_cur >= n) {
        return true;
    }
    limit.rlim_cur = n;
    limit.rlim_max = n;
    return prlimit(0, RLIMIT_NOFILE, &limit, nullptr) == 0;
}

int GetPageSizeKb()
{
    static const int pageSizeKb = static_cast<int>(std::max(sysconf(_SC_PAGESIZE) / 1024, MIN_PAGE_SIZE_KB));
    return pageSizeKb;
}

float Kb2Mb(float kb)
{
    return kb * 0.0009765625F;
}

std::string GetKernelVersion()
{
    probe::PseudoFile file(probe::PathText().Add("/proc/version").CStr());
    if (!file.IsOpen()) {
        return "";
    }
    probe::LineReader lines(file, VERSION_LINE, VERSION_LINE);
    probe::LinePiece first;
    try {
        return lines.Next(first) ? probe::ParseKernelVersion(first.text) : "";
    } catch (const std::bad_alloc&) {
        return "";
    }
}
