// SPDX-License-Identifier: MIT

#include "scenario/export.h"
#include "scenario/framework.h"

namespace kovari {

/// The host's definition is called where the host exports one; this one serves hosts, tools and tests that do
/// not. It is weak and left out of the symbols that bind inside the library.
SCENARIO_NUMA_EXPORT __attribute__((weak)) std::string Concat(const std::vector<std::string>& parts,
                                                              const std::string& separator)
{
    std::size_t length = 0;
    for (const std::string& part : parts) {
        length += part.size() + separator.size();
    }
    std::string joined;
    joined.reserve(length);
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (i != 0) {
            joined += separator;
        }
        joined += parts[i];
    }
    return joined;
}

}  // namespace kovari
