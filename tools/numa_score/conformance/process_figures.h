// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_CONFORMANCE_PROCESS_FIGURES_H
#define TOOLS_NUMA_SCORE_CONFORMANCE_PROCESS_FIGURES_H

#include <cstddef>

#include <map>
#include <string>

namespace conformance {

/// Threads of this process; 0 when the system does not say.
std::size_t ThreadCount();

/// Open descriptors of this process with what they lead to.
std::map<int, std::string> OpenDescriptors();

/// True when some of the file is mapped into this process.
bool IsMapped(const std::string& file);

}  // namespace conformance

#endif  // TOOLS_NUMA_SCORE_CONFORMANCE_PROCESS_FIGURES_H
