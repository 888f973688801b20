// SPDX-License-Identifier: MIT

#include "tests/support/completion_words.h"

#include "tests/support/joined.h"

namespace support {
namespace {

bool IsFile(const std::string& placeholder)
{
    return placeholder == "<file>" || placeholder == "PATH" || placeholder.rfind("FILE", 0) == 0;
}

std::string Kind(const CompletedOption& opt)
{
    if (!opt.words.empty()) {
        return "takes='words' words='" + Joined(opt.words, " ") + "'";
    }
    return IsFile(opt.placeholder)    ? "takes='file'"
           : opt.placeholder == "DIR" ? "takes='directory'"
                                      : "takes='text'";
}

}  // namespace

std::string WordsAssignment(const std::vector<std::string>& names, const std::string& indent)
{
    return indent + "options='\n" + indent + "    " + Joined(names, "\n" + indent + "    ") + "\n" + indent +
           "'\n";
}

std::string ArgumentBranches(const std::vector<CompletedOption>& options, const std::string& indent)
{
    std::string text;
    for (const CompletedOption& opt : options) {
        if (!opt.placeholder.empty()) {
            text += indent + Joined(opt.names, " | ") + ") " + Kind(opt) + " ;;\n";
        }
    }
    return text;
}

}  // namespace support
