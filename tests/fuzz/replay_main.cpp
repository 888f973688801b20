// SPDX-License-Identifier: MIT
//
// Feeds every file of the given directories to a fuzz target, without libFuzzer: what was found once stays
// mended under every compiler.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> FilesOf(const char* directory)
{
    std::vector<fs::path> files;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

/// In a block of exactly its size, so that a sanitizer sees a read past the end.
void Feed(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    const std::string content((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    const std::unique_ptr<std::uint8_t[]> exact(new std::uint8_t[content.size()]);
    std::copy(content.begin(), content.end(), exact.get());
    // Named beforehand: a target that finds something wrong ends the process.
    std::fprintf(stderr, "%s\n", path.c_str());
    LLVMFuzzerTestOneInput(exact.get(), content.size());
}

}  // namespace

int main(int argc, char** argv)
{
    std::size_t inputs = 0;
    try {
        for (int i = 1; i < argc; ++i) {
            for (const fs::path& path : FilesOf(argv[i])) {
                Feed(path);
                ++inputs;
            }
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "fuzz replay: %s\n", error.what());
        return EXIT_FAILURE;
    }
    if (inputs == 0) {
        std::fprintf(stderr, "fuzz replay: no input; give directories that hold some\n");
        return EXIT_FAILURE;
    }
    std::printf("%zu inputs\n", inputs);
    return EXIT_SUCCESS;
}
