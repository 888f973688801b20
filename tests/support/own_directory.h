// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_OWN_DIRECTORY_H
#define TESTS_SUPPORT_OWN_DIRECTORY_H

#include <filesystem>

#include "tests/support/probe_tree.h"

namespace support {

/// A temporary directory that is the working directory for the life of the object.
class OwnDirectory : public TempTree {
public:
    OwnDirectory() : before(std::filesystem::current_path()) { std::filesystem::current_path(Root()); }
    ~OwnDirectory()
    {
        std::error_code ignored;
        std::filesystem::current_path(before, ignored);
    }
    OwnDirectory(const OwnDirectory&) = delete;
    OwnDirectory& operator=(const OwnDirectory&) = delete;

private:
    std::filesystem::path before;
};

}  // namespace support

#endif  // TESTS_SUPPORT_OWN_DIRECTORY_H
