// SPDX-License-Identifier: MIT

#include "tests/support/source_tree.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

namespace support {
namespace {

namespace fs = std::filesystem;

constexpr std::array<const char*, 9> ROOMS = {"scenario", "common", "config", "host",   "tools",
                                              "tests",    "bench",  "cmake",  "scripts"};
constexpr std::array<const char*, 3> DATA = {"tests/fixtures/", "tests/golden/", "tests/fuzz/corpus/"};

/// What the files of a room may include of ours: directories (with a slash at the end) and single headers.
/// The host meets a plug-in through dlopen, so it knows the boundary's records and nothing else of the
/// plug-in.
const std::map<std::string, std::vector<std::string>> ALLOWED = {
    {"scenario", {"scenario/"}},
    {"common", {"common/"}},
    {"config", {"config/", "common/"}},
    {"host", {"host/", "scenario/framework.h"}},
    {"tools", {"tools/", "host/", "config/", "common/", "scenario/framework.h", "scenario/numa_scenario.h"}},
    {"tools/cli", {"tools/cli/"}},
    {"tools/numa_score",
     {"tools/numa_score/", "host/", "config/", "common/", "scenario/framework.h", "scenario/numa_scenario.h",
      "tools/cli/"}},
    {"tools/tarnix",
     {"tools/tarnix/", "host/", "config/", "common/", "scenario/framework.h", "scenario/numa_scenario.h",
      "tools/cli/", "tools/tarnix_config/"}},
    {"tools/tarnix_config", {"tools/tarnix_config/", "config/", "common/", "tools/cli/"}},
    {"tools/tnstat", {"tools/tnstat/", "config/", "common/", "tools/cli/"}},
};

struct Include {
    std::size_t line;
    std::string target;
    bool quoted;
};

bool StartsWith(std::string_view text, std::string_view prefix)
{
    return text.substr(0, prefix.size()) == prefix;
}

bool EndsWith(std::string_view text, std::string_view suffix)
{
    return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

/// Paths of all files of the rooms and of the root itself, relative to the root, sorted.
std::vector<std::string> FilesOf(const fs::path& root)
{
    std::vector<std::string> files;
    const auto add = [&](const fs::directory_entry& entry) {
        std::string path = entry.path().lexically_relative(root).generic_string();
        const bool isData =
            std::any_of(DATA.begin(), DATA.end(), [&](const char* data) { return StartsWith(path, data); });
        if (entry.is_regular_file() && !isData) {
            files.push_back(std::move(path));
        }
    };
    for (const fs::directory_entry& entry : fs::directory_iterator(root)) {
        add(entry);
    }
    for (const char* room : ROOMS) {
        if (fs::is_directory(root / room)) {
            for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root / room)) {
                add(entry);
            }
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

bool IsBuildFile(const std::string& path)
{
    return fs::path(path).filename() == "CMakeLists.txt" || EndsWith(path, ".cmake");
}

bool IsCode(const std::string& path)
{
    return EndsWith(path, ".h") || EndsWith(path, ".cpp");
}

/// The directory below the root, or below tools, whose rule the file is under.
std::string RoomOf(const std::string& path)
{
    const std::size_t first = path.find('/');
    const std::string inner = path.substr(0, first == std::string::npos ? first : path.find('/', first + 1));
    return ALLOWED.count(inner) != 0 ? inner : path.substr(0, first);
}

std::size_t SkipBlanks(const std::string& line, std::size_t at)
{
    return std::min(line.find_first_not_of(" \t", at), line.size());
}

/// The file that a line includes, quoted or in angle brackets; nothing for any other line.
std::optional<Include> IncludeIn(const std::string& line, std::size_t number)
{
    constexpr std::string_view DIRECTIVE = "include";
    std::size_t at = SkipBlanks(line, 0);
    if (at == line.size() || line[at] != '#') {
        return std::nullopt;
    }
    at = SkipBlanks(line, at + 1);
    if (line.compare(at, DIRECTIVE.size(), DIRECTIVE) != 0) {
        return std::nullopt;
    }
    at = SkipBlanks(line, at + DIRECTIVE.size());
    if (at == line.size() || (line[at] != '"' && line[at] != '<')) {
        return std::nullopt;
    }
    const bool quoted = line[at] == '"';
    const std::size_t end = line.find(quoted ? '"' : '>', at + 1);
    if (end == std::string::npos) {
        return std::nullopt;
    }
    return Include{number, line.substr(at + 1, end - at - 1), quoted};
}

std::vector<Include> IncludesOf(const fs::path& file)
{
    std::vector<Include> includes;
    std::ifstream in(file);
    std::size_t number = 0;
    for (std::string line; std::getline(in, line);) {
        if (std::optional<Include> include = IncludeIn(line, ++number)) {
            includes.push_back(std::move(*include));
        }
    }
    return includes;
}

bool IsAllowed(const std::vector<std::string>& allowed, const std::string& target)
{
    return std::any_of(allowed.begin(), allowed.end(), [&](const std::string& entry) {
        return entry.back() == '/' ? StartsWith(target, entry) : target == entry;
    });
}

std::string Joined(const std::vector<std::string>& texts, const std::string& separator)
{
    std::string joined;
    for (const std::string& text : texts) {
        joined += (joined.empty() ? "" : separator) + text;
    }
    return joined;
}

std::string NotFromTheRoot(const std::string& file, const Include& include)
{
    return file + ":" + std::to_string(include.line) + ": \"" + include.target +
           "\" is no file below the root; write includes of ours from there";
}

std::string NotAllowed(const std::string& file, const Include& include,
                       const std::vector<std::string>& allowed)
{
    return file + ":" + std::to_string(include.line) + ": includes " + include.target + "; " + RoomOf(file) +
           " may include " + Joined(allowed, ", ");
}

/// Depth-first walk over the headers of ours; a header that is met again while it is still open closes a
/// circle.
class CircleFinder {
public:
    explicit CircleFinder(const fs::path& root) : m_root(root) {}

    void Visit(const std::string& header)
    {
        const auto open = std::find(m_open.begin(), m_open.end(), header);
        if (open != m_open.end()) {
            AddCircle({open, m_open.end()});
            return;
        }
        if (!m_seen.insert(header).second) {
            return;
        }
        m_open.push_back(header);
        for (const Include& include : IncludesOf(m_root / header)) {
            if (fs::is_regular_file(m_root / include.target)) {
                Visit(include.target);
            }
        }
        m_open.pop_back();
    }

    std::vector<std::string> Circles() const { return {m_circles.begin(), m_circles.end()}; }

private:
    void AddCircle(std::vector<std::string> circle)
    {
        std::rotate(circle.begin(), std::min_element(circle.begin(), circle.end()), circle.end());
        circle.push_back(circle.front());
        m_circles.insert(Joined(circle, " -> "));
    }

    fs::path m_root;
    std::vector<std::string> m_open;
    std::set<std::string> m_seen;
    std::set<std::string> m_circles;
};

/// The words of a CMakeLists.txt, comments left out.
std::set<std::string> WordsOf(const fs::path& listing)
{
    std::set<std::string> words;
    std::ifstream in(listing);
    for (std::string line; std::getline(in, line);) {
        line = line.substr(0, line.find('#'));
        std::replace_if(
            line.begin(), line.end(), [](char c) { return c == '(' || c == ')' || c == '"' || c == '\t'; },
            ' ');
        std::size_t begin = 0;
        while ((begin = line.find_first_not_of(' ', begin)) != std::string::npos) {
            const std::size_t end = std::min(line.find(' ', begin), line.size());
            words.insert(line.substr(begin, end - begin));
            begin = end;
        }
    }
    return words;
}

/// True when a word of the listing is `name`, or becomes it once another word takes the place of the variable
/// in it: foreach(unit clock escape) with ${unit}_test.cpp names clock_test.cpp.
bool Names(const std::set<std::string>& words, const std::string& name)
{
    return std::any_of(words.begin(), words.end(), [&](const std::string& word) {
        const std::size_t begin = word.find("${");
        const std::size_t end = word.find('}');
        if (begin == std::string::npos || end == std::string::npos) {
            return word == name;
        }
        const std::string before = word.substr(0, begin);
        const std::string after = word.substr(end + 1);
        return name.size() > before.size() + after.size() && StartsWith(name, before) &&
               EndsWith(name, after) &&
               words.count(name.substr(before.size(), name.size() - before.size() - after.size())) != 0;
    });
}

bool IsListed(const fs::path& root, const fs::path& file)
{
    for (fs::path directory = file.parent_path();; directory = directory.parent_path()) {
        const std::string name =
            file.lexically_relative(directory.empty() ? "." : directory).generic_string();
        if (Names(WordsOf(root / directory / "CMakeLists.txt"), name)) {
            return true;
        }
        if (directory.empty()) {
            return false;
        }
    }
}

/// One mention of a variable of ours in a build file.
struct Mention {
    std::string name;
    std::size_t line;
    bool declares;
};

std::vector<Mention> MentionsIn(const fs::path& listing)
{
    constexpr std::string_view PREFIX = "SCENARIO_NUMA_";
    constexpr std::string_view LETTERS = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_";
    std::vector<Mention> mentions;
    std::ifstream in(listing);
    std::size_t number = 0;
    for (std::string line; std::getline(in, line);) {
        ++number;
        line = line.substr(0, line.find('#'));
        std::size_t begin = 0;
        while ((begin = line.find(PREFIX, begin)) != std::string::npos) {
            const std::size_t end = std::min(line.find_first_not_of(LETTERS, begin), line.size());
            const std::string_view before = std::string_view(line).substr(0, begin);
            const bool declares =
                EndsWith(before, "option(") || EndsWith(before, "set(") || EndsWith(before, "find_program(");
            mentions.push_back({line.substr(begin, end - begin), number, declares});
            begin = end;
        }
    }
    return mentions;
}

/// The line that has to carry the licence, or nothing for files that carry none.
std::optional<std::string> LicenceLineOf(const fs::path& root, const std::string& file)
{
    std::ifstream in(root / file);
    std::string line;
    std::getline(in, line);
    const bool isScript = StartsWith(line, "#!");
    const bool isSource = IsCode(file) || EndsWith(file, ".sh") || EndsWith(file, ".py") || IsBuildFile(file);
    if (!isScript && !isSource) {
        return std::nullopt;
    }
    if (isScript) {
        std::getline(in, line);
    }
    return line;
}

}  // namespace

std::vector<std::string> LayeringFaults(const fs::path& root)
{
    std::vector<std::string> faults;
    for (const std::string& file : FilesOf(root)) {
        if (!IsCode(file)) {
            continue;
        }
        const auto rule = ALLOWED.find(RoomOf(file));
        for (const Include& include : IncludesOf(root / file)) {
            const bool isOurs = fs::is_regular_file(root / include.target);
            if (include.quoted && (!isOurs || include.target.find("..") != std::string::npos)) {
                faults.push_back(NotFromTheRoot(file, include));
            } else if (isOurs && rule != ALLOWED.end() && !IsAllowed(rule->second, include.target)) {
                faults.push_back(NotAllowed(file, include, rule->second));
            }
        }
    }
    return faults;
}

std::vector<std::string> IncludeCircles(const fs::path& root)
{
    CircleFinder finder(root);
    for (const std::string& file : FilesOf(root)) {
        if (EndsWith(file, ".h")) {
            finder.Visit(file);
        }
    }
    return finder.Circles();
}

std::vector<std::string> UnlistedTests(const fs::path& root)
{
    std::vector<std::string> faults;
    for (const std::string& file : FilesOf(root)) {
        const bool isTest =
            StartsWith(file, "tests/") && (EndsWith(file, "_test.cpp") || EndsWith(file, "_fuzz.cpp"));
        const bool isBench = StartsWith(file, "bench/") && EndsWith(file, "_bench.cpp");
        if ((isTest || isBench) && !IsListed(root, file)) {
            faults.push_back(file + ": named in no CMakeLists.txt beside or above it; nothing builds it");
        }
    }
    return faults;
}

std::vector<std::string> UndeclaredSwitches(const fs::path& root)
{
    std::vector<std::pair<std::string, std::string>> uses;  // the variable and the fault that it may be
    std::set<std::string> declared;
    for (const std::string& file : FilesOf(root)) {
        if (!IsBuildFile(file)) {
            continue;
        }
        for (const Mention& mention : MentionsIn(root / file)) {
            if (mention.declares) {
                declared.insert(mention.name);
            } else {
                uses.emplace_back(mention.name, file + ":" + std::to_string(mention.line) + ": " +
                                                    mention.name +
                                                    " is declared nowhere; what it guards is never built");
            }
        }
    }
    std::vector<std::string> faults;
    for (auto& [name, fault] : uses) {
        if (declared.count(name) == 0) {
            faults.push_back(std::move(fault));
        }
    }
    return faults;
}

std::vector<std::string> MissingLicences(const fs::path& root)
{
    std::vector<std::string> faults;
    for (const std::string& file : FilesOf(root)) {
        const std::optional<std::string> line = LicenceLineOf(root, file);
        if (line && *line != "// SPDX-License-Identifier: MIT" && *line != "# SPDX-License-Identifier: MIT") {
            faults.push_back(file + ": does not begin with \"SPDX-License-Identifier: MIT\"");
        }
    }
    return faults;
}

}  // namespace support
