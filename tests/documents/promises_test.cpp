// SPDX-License-Identifier: MIT
//
// The README's promises and docs/verification.md name tests: each of them has to exist.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

std::string ReadAll(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

/// "Suite.Name" of every test in `source`.
std::set<std::string> TestsIn(const std::string& source)
{
    static const std::regex declaration(R"((?:^|\n)(?:TYPED_)?TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\))");
    std::set<std::string> tests;
    for (auto at = std::sregex_iterator(source.begin(), source.end(), declaration);
         at != std::sregex_iterator(); ++at) {
        tests.insert((*at)[1].str() + "." + (*at)[2].str());
    }
    return tests;
}

const std::set<std::string>& AllTests()
{
    static const std::set<std::string> all = [] {
        std::set<std::string> tests;
        for (const auto& entry : fs::recursive_directory_iterator(fs::path(SOURCE_DIR) / "tests")) {
            if (entry.path().extension() == ".cpp") {
                tests.merge(TestsIn(ReadAll(entry.path())));
            }
        }
        return tests;
    }();
    return all;
}

/// What stands between backticks in `text`.
std::vector<std::string> Quoted(const std::string& text)
{
    static const std::regex quoted("`([^`]+)`");
    std::vector<std::string> names;
    for (auto at = std::sregex_iterator(text.begin(), text.end(), quoted); at != std::sregex_iterator();
         ++at) {
        names.push_back((*at)[1].str());
    }
    return names;
}

/// The rows of the table under `heading`, each split into its cells; without the table's head.
std::vector<std::vector<std::string>> TableUnder(const std::string& document, const std::string& heading)
{
    std::vector<std::vector<std::string>> rows;
    const std::size_t start = document.find("\n" + heading + "\n");
    if (start == std::string::npos) {
        return rows;
    }
    const std::string section = document.substr(start, document.find("\n## ", start + 1) - start);
    static const std::regex line(R"(\n\|([^\n]*)\|(?=\n))");
    for (auto at = std::sregex_iterator(section.begin(), section.end(), line); at != std::sregex_iterator();
         ++at) {
        static const std::regex bar(R"(\s*\|\s*)");
        const std::string cells = (*at)[1].str();
        rows.emplace_back(std::sregex_token_iterator(cells.begin(), cells.end(), bar, -1),
                          std::sregex_token_iterator());
    }
    rows.erase(rows.begin(),
               rows.begin() + std::min<std::ptrdiff_t>(2, static_cast<std::ptrdiff_t>(rows.size())));
    return rows;
}

bool LooksLikeATest(const std::string& name)
{
    static const std::regex suiteAndName(R"([A-Z]\w*[a-z]\w*\.[A-Z]\w*)");
    static const std::regex file(
        R"(tests/(?!support|fixtures|golden)[\w./-]+\.(cpp|sh|py)|scripts/[\w-]+\.(sh|py))");
    return std::regex_match(name, suiteAndName) || std::regex_match(name, file);
}

/// A test's name, or a file of the tree that is a test or runs one.
bool IsTest(const std::string& name)
{
    return AllTests().count(name) == 1 ||
           (LooksLikeATest(name) && fs::is_regular_file(fs::path(SOURCE_DIR) / name));
}

TEST(Promises, EachHasATestThatExists)
{
    const auto rows = TableUnder(ReadAll(fs::path(SOURCE_DIR) / "README.md"), "## Promises");
    EXPECT_GE(rows.size(), 15u);
    for (const auto& row : rows) {
        ASSERT_EQ(row.size(), 2u) << row.front();
        const auto tests = Quoted(row[1]);
        EXPECT_FALSE(tests.empty()) << "no test keeps: " << row[0];
        for (const std::string& test : tests) {
            EXPECT_TRUE(IsTest(test)) << test << " keeps \"" << row[0] << "\", and is no test of this tree";
        }
    }
}

TEST(Verification, NamesTestsThatExist)
{
    int named = 0;
    for (const std::string& name : Quoted(ReadAll(fs::path(SOURCE_DIR) / "docs/verification.md"))) {
        if (LooksLikeATest(name)) {
            ++named;
            EXPECT_TRUE(IsTest(name)) << name;
        }
    }
    EXPECT_GE(named, 10);
}

TEST(PromisesTestItself, FindsTestsRowsAndNames)
{
    const std::set<std::string> tests = {"A.B", "C.D", "E.F"};
    EXPECT_EQ(TestsIn("TEST(A, B)\n{}\nTEST_P(C,\n       D)\n{}\n  // TEST(No, Test)\nTYPED_TEST(E, F)"),
              tests);
    const auto rows =
        TableUnder("# T\n## Promises\n| p | t |\n|---|---|\n| one | `A.B`, `x` |\n\n## More\n| z | z |\n",
                   "## Promises");
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(Quoted(rows[0].at(1)), (std::vector<std::string>{"A.B", "x"}));
    EXPECT_FALSE(IsTest("Promises.NobodyWroteThis"));
    EXPECT_TRUE(IsTest("Promises.EachHasATestThatExists"));
    EXPECT_TRUE(LooksLikeATest("scripts/fuzz.sh"));
    EXPECT_FALSE(IsTest("LICENSE"));
    EXPECT_FALSE(IsTest("tests/support/script.sh"));
    EXPECT_FALSE(LooksLikeATest("libscenario_numa.so"));
}

}  // namespace
