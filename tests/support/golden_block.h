// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_GOLDEN_BLOCK_H
#define TESTS_SUPPORT_GOLDEN_BLOCK_H

#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/golden_file.h"

namespace support {

/// The text of `file` with `block` between its two marker lines, those with "begin generated: NAME" and
/// "end generated: NAME" in them; empty when they are not there in this order.
inline std::string WithBlock(const std::string& file, const std::string& name, const std::string& block)
{
    const std::size_t begin = file.find("begin generated: " + name + "\n");
    const std::size_t end = file.find("end generated: " + name + "\n");
    if (begin == std::string::npos || end == std::string::npos || begin > end) {
        return {};
    }
    const std::size_t first = file.find('\n', begin) + 1;
    const std::size_t last = file.rfind('\n', end) + 1;
    return file.substr(0, first) + block + file.substr(last);
}

/// Compares `block` with what stands between the markers of a file of the source tree; with UPDATE_GOLDEN=1
/// in the environment it is written there first.
inline void ExpectGoldenBlock(const std::string& path, const std::string& name, const std::string& block)
{
    std::ifstream in(std::string(SOURCE_DIR) + "/" + path, std::ios::binary);
    ASSERT_TRUE(in.is_open()) << path << " is missing";
    const std::string file{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    const std::string expected = WithBlock(file, name, block);
    ASSERT_NE(expected, "") << path << " has no lines \"begin generated: " << name
                            << "\" and \"end generated: " << name << "\"";
    ExpectGolden(path, expected);
}

}  // namespace support

#endif  // TESTS_SUPPORT_GOLDEN_BLOCK_H
