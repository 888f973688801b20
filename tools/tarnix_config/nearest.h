// SPDX-License-Identifier: MIT

#ifndef TOOLS_TARNIX_CONFIG_NEAREST_H
#define TOOLS_TARNIX_CONFIG_NEAREST_H

#include <cstddef>

#include <string>
#include <vector>

namespace tarnix_config {

/// The smallest number of characters to insert, delete, replace or swap with their neighbour that turns one
/// text into the other (optimal string alignment). Texts over 64 characters are as far apart as their lengths
/// say at most.
std::size_t EditDistance(const std::string& one, const std::string& other);

/// The known name that `name` was probably meant to be; empty when none is close. Underscores and capitals
/// count as the hyphens and small letters that names are written with.
std::string Nearest(const std::string& name, const std::vector<std::string>& known);

}  // namespace tarnix_config

#endif  // TOOLS_TARNIX_CONFIG_NEAREST_H
