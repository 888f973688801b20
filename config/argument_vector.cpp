// SPDX-License-Identifier: MIT

#include "config/argument_vector.h"

#include <cstring>

#include <algorithm>
#include <memory>
#include <vector>

namespace {

std::unique_ptr<char[]> Copy(const std::string& word)
{
    auto copy = std::make_unique<char[]>(word.size() + 1);
    std::memcpy(copy.get(), word.c_str(), word.size() + 1);
    return copy;
}

}  // namespace

namespace argument_vector {

std::pair<int, char**> Split(const std::string& text)
{
    // Not through a stream, which takes memory that runs out for the end of the text; and what white space is
    // does not depend on the host's locale.
    constexpr const char* WHITE_SPACE = " \t\n\v\f\r";
    std::vector<std::unique_ptr<char[]>> words;
    for (std::size_t begin = 0; (begin = text.find_first_not_of(WHITE_SPACE, begin)) != std::string::npos;) {
        const std::size_t end = std::min(text.find_first_of(WHITE_SPACE, begin), text.size());
        words.push_back(Copy(text.substr(begin, end - begin)));
        begin = end;
    }
    auto argv = std::make_unique<char*[]>(words.size() + 1);
    for (std::size_t i = 0; i < words.size(); ++i) {
        argv[i] = words[i].release();
    }
    argv[words.size()] = nullptr;
    return {static_cast<int>(words.size()), argv.release()};
}

void Free(int argc, char** argv) noexcept
{
    if (argv == nullptr) {
        return;
    }
    for (int i = 0; i < argc; ++i) {
        delete[] argv[i];
    }
    delete[] argv;
}

}  // namespace argument_vector
