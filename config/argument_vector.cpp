// SPDX-License-Identifier: MIT

#include "config/argument_vector.h"

#include <cstring>

#include <locale>
#include <memory>
#include <sstream>
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
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());  // what white space is does not depend on the host
    std::vector<std::unique_ptr<char[]>> words;
    for (std::string word; stream >> word;) {
        words.push_back(Copy(word));
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
