// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_JOINED_H
#define TESTS_SUPPORT_JOINED_H

#include <string>
#include <vector>

namespace support {

/// The texts with the separator between neighbours.
inline std::string Joined(const std::vector<std::string>& texts, const std::string& separator)
{
    std::string joined;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        joined += (i == 0 ? "" : separator) + texts[i];
    }
    return joined;
}

}  // namespace support

#endif  // TESTS_SUPPORT_JOINED_H
