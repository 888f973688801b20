// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_WORDS_H
#define TESTS_SUPPORT_WORDS_H

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace support {

/// An argument vector: the program's name, the words given, and a null pointer.
class Words {
public:
    Words(std::initializer_list<std::string> given) : Words(std::vector<std::string>(given)) {}
    explicit Words(std::vector<std::string> given) : texts(std::move(given))
    {
        texts.insert(texts.begin(), "tarnix");
        for (std::string& text : texts) {
            pointers.push_back(text.data());
        }
        pointers.push_back(nullptr);
    }
    Words(const Words&) = delete;
    Words& operator=(const Words&) = delete;

    int Count() const { return static_cast<int>(texts.size()); }
    char** Array() { return pointers.data(); }
    const std::vector<char*>& Pointers() const { return pointers; }
    const std::vector<std::string>& Texts() const { return texts; }

private:
    std::vector<std::string> texts;
    std::vector<char*> pointers;
};

}  // namespace support

#endif  // TESTS_SUPPORT_WORDS_H
