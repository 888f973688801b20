// SPDX-License-Identifier: MIT
//
// Any bytes as the text of a sysfs PMU: CPU list, format file, event file and the user's own spec.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include <string>
#include <string_view>
#include <vector>

#include "host/cpu_list.h"
#include "host/pmu_terms.h"

namespace {

void Require(bool condition, const char* what)
{
    if (!condition) {
        std::fprintf(stderr, "violated: %s\n", what);
        std::abort();
    }
}

void ParseCpus(std::string_view text)
{
    const host::CpuListResult list = host::ParseCpuList(text);
    Require(list.error.empty() || list.cpus.empty(), "a faulty list names no CPU");
    for (std::size_t i = 1; i < list.cpus.size(); ++i) {
        Require(list.cpus[i - 1] < list.cpus[i], "CPUs ascend");
    }
    if (list.error.empty()) {
        Require(host::ParseCpuList(host::FormatCpuList(list.cpus)).cpus == list.cpus,
                "a list survives formatting");
    }
    Require(list.error.find('\n') == std::string::npos, "an error is one line");
}

void ParseTerms(std::string_view text)
{
    const std::vector<host::FormatTerm> formats = {host::ParseFormat("event", "config:0-7,32-35"),
                                                   host::ParseFormat("umask", text),
                                                   host::ParseFormat("node", "config1:0")};
    const host::EventTermsResult events = host::ParseEventTerms(text);
    const host::EventSpecResult spec = host::ParseEventSpec(text);
    for (const std::vector<host::EventTerm>& terms : {events.terms, spec.spec.terms}) {
        const host::EventConfigResult config = host::EncodeTerms(terms, formats, "fuzz");
        Require(config.error.find('\n') == std::string::npos, "an error is one line");
    }
    if (spec.error.empty()) {
        Require(host::IsPmuName(spec.spec.pmu), "the PMU of a spec stays inside its directory");
        Require(!spec.spec.terms.empty(), "a spec has a term");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    ParseCpus(text);
    ParseTerms(text);
    return 0;
}
