// SPDX-License-Identifier: MIT

#include "tests/support/option_words.h"

#include <algorithm>
#include <vector>

#include "tests/support/completion_words.h"
#include "tests/support/option_facts.h"

namespace support {
namespace {

CompletedOption Completed(const Option& opt)
{
    CompletedOption completed;
    if (opt.IsAttr(OptAttr::SHORT_OPT)) {
        completed.names.push_back(std::string("-") + static_cast<char>(opt.shortOpt));
    }
    completed.names.push_back("--" + opt.longOpt);
    completed.placeholder = ArgumentOf(opt);
    completed.words = ArgumentWords(opt);
    if (opt.longOpt == "help") {
        // To ask for no help is to run the program.
        std::vector<std::string>& words = completed.words;
        words.erase(std::remove(words.begin(), words.end(), DefaultOf(opt)), words.end());
    }
    return completed;
}

std::string Block(ConfigType type, OptAttr mode, const std::vector<std::string>& others)
{
    const std::string indent = "    ";
    std::vector<CompletedOption> options;
    std::vector<std::string> names;
    for (const Option& opt : OptionInfo(type).GetAllOptions()) {
        if (opt.IsAttr(mode) && opt.IsAttr(OptAttr::CMD)) {
            options.push_back(Completed(opt));
            names.push_back(options.back().names.back());
        }
    }
    names.insert(names.end(), others.begin(), others.end());
    return WordsAssignment(names, indent) + indent + "case $option in\n" +
           ArgumentBranches(options, indent + indent) + indent + "esac\n";
}

}  // namespace

std::string ToolWords()
{
    return Block(ConfigType::TARNIX, OptAttr::ALONE, {});
}

std::string ViewerWords()
{
    // What the program answers before it looks at its options.
    return Block(ConfigType::TNSTAT, OptAttr::TNSTAT, {"--version"});
}

}  // namespace support
