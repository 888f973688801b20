// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_SOURCE_TREE_H
#define TESTS_SUPPORT_SOURCE_TREE_H

#include <filesystem>
#include <string>
#include <vector>

namespace support {

/// Checks of a source tree. Each returns one line per fault, sorted by file: where, what, what was expected.
/// `root` holds the rooms (scenario/, common/, ...); rooms that are missing are passed over. What stands in
/// tests/fixtures, tests/golden and tests/fuzz/corpus is data and not looked at.

/// Includes that a room may not have, and includes that are not written from the root.
std::vector<std::string> LayeringFaults(const std::filesystem::path& root);

/// Headers that include each other in a circle; each circle once, beginning with its first header by name.
std::vector<std::string> IncludeCircles(const std::filesystem::path& root);

/// Test, benchmark and fuzz sources that no CMakeLists.txt beside or above them names.
std::vector<std::string> UnlistedTests(const std::filesystem::path& root);

/// Uses of a SCENARIO_NUMA_ variable in build files that no build file declares, sets or finds: a condition
/// on it is never true, and what it guards is never built.
std::vector<std::string> UndeclaredSwitches(const std::filesystem::path& root);

/// Source files, build files and scripts without the licence line on top (below "#!" where there is one).
std::vector<std::string> MissingLicences(const std::filesystem::path& root);

}  // namespace support

#endif  // TESTS_SUPPORT_SOURCE_TREE_H
