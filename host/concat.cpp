// SPDX-License-Identifier: MIT

#include "scenario/framework.h"

namespace kovari {

/// The host's definition, which plug-ins find when they are loaded: every program that links this library
/// exports it (host/exports.list).
__attribute__((visibility("default"))) std::string Concat(const std::vector<std::string>& parts,
                                                          const std::string& separator)
{
    std::size_t length = 0;
    for (const std::string& part : parts) {
        length += part.size() + separator.size();
    }
    std::string joined;
    joined.reserve(length);
    bool first = true;
    for (const std::string& part : parts) {
        if (!first) {
            joined += separator;
        }
        first = false;
        joined += part;
    }
    return joined;
}

}  // namespace kovari
