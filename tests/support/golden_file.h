// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_GOLDEN_FILE_H
#define TESTS_SUPPORT_GOLDEN_FILE_H

#include <stdlib.h>

#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

namespace support {

/// Compares `text` with a file of the source tree, named from its root; with UPDATE_GOLDEN=1 in the
/// environment the file is written first.
inline void ExpectGolden(const std::string& name, const std::string& text)
{
    const std::string path = std::string(SOURCE_DIR) + "/" + name;
    if (getenv("UPDATE_GOLDEN") != nullptr) {
        std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
    }
    std::ifstream file(path, std::ios::binary);
    ASSERT_TRUE(file.is_open()) << path << " is missing; UPDATE_GOLDEN=1 writes it";
    const std::string golden{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    EXPECT_EQ(text, golden) << path << " differs; UPDATE_GOLDEN=1 writes it anew";
    EXPECT_NE(text, "") << name;
}

}  // namespace support

#endif  // TESTS_SUPPORT_GOLDEN_FILE_H
