// SPDX-License-Identifier: MIT

#include "config/command_line.h"

#include <getopt.h>

#include <unordered_set>
#include <vector>

namespace {

TnResult NotFound()
{
    return {1, "option not found, please check cmdline by help"};
}

TnResult NotForCommandLine()
{
    return {1, "option not support cmdline, please check cmdline by help"};
}

TnResult Repeated()
{
    return {1, " not support repeat option, please check cmdline by help"};
}

TnResult ExtraParameter()
{
    return {1, "cmdline not support extra parameter, please check cmdline by help"};
}

/// getopt's state belongs to the whole process. Index 0 makes the next caller's first call start afresh and
/// forget the place inside a cluster of letters, which would point into an argument vector that is gone.
class GetoptScope {
public:
    GetoptScope() { Reset(); }
    GetoptScope(const GetoptScope&) = delete;
    GetoptScope& operator=(const GetoptScope&) = delete;
    ~GetoptScope() { Reset(); }

private:
    static void Reset()
    {
        opterr = 1;
        optind = 0;
        optarg = nullptr;
    }
};

/// A copy of the pointers, ended by a null one: getopt moves them about.
std::vector<char*> Words(int argc, char* const* argv)
{
    std::vector<char*> words;
    for (int i = 0; argv != nullptr && i < argc && argv[i] != nullptr; ++i) {
        words.push_back(argv[i]);
    }
    words.push_back(nullptr);
    return words;
}

}  // namespace

namespace command_line {

TnResult Parse(int argc, char* const* argv, const OptionInfo& info, const OptionMap& map, const Apply& apply)
{
    std::vector<char*> words = Words(argc, argv);
    const int count = static_cast<int>(words.size()) - 1;
    const std::string shortOpts = info.GetShortOpt();
    const std::vector<option> longOpts = info.GetLongOptArray();
    std::unordered_set<int> seen;
    const GetoptScope scope;
    for (int value = 0;
         (value = getopt_long(count, words.data(), shortOpts.c_str(), longOpts.data(), nullptr)) != -1;) {
        const auto found = map.find(value);
        if (found == map.end()) {
            return NotFound();
        }
        const Option& opt = found->second;
        if (!opt.IsAttr(OptAttr::CMD)) {
            return NotForCommandLine();
        }
        if (!seen.insert(value).second) {
            return Repeated();
        }
        if (TnResult result = apply(opt, optarg == nullptr ? std::string() : std::string(optarg));
            result.code != 0) {
            return result;
        }
    }
    if (optind < count) {
        return ExtraParameter();
    }
    return {};
}

}  // namespace command_line
