// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_SCRATCH_DIRECTORY_H
#define TESTS_SUPPORT_SCRATCH_DIRECTORY_H

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>

namespace support {

/// A directory of its own, removed with everything in it.
class ScratchDirectory {
public:
    ScratchDirectory()
    {
        std::string name = (std::filesystem::temp_directory_path() / "scratch_XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no scratch directory can be made at " + name);
        }
        path = name;
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;
    ~ScratchDirectory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }

    std::string operator/(const std::string& name) const { return path + "/" + name; }

private:
    std::string path;
};

}  // namespace support

#endif  // TESTS_SUPPORT_SCRATCH_DIRECTORY_H
