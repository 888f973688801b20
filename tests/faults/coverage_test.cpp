// SPDX-License-Identifier: MIT

// No exported operation escapes the faults: each has a row, or stands below with the reason.

#include <cxxabi.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "tests/faults/operation.h"

namespace {

const std::map<std::string, std::string> EXEMPT = {
    {"LoggerCtl::LoggerCtl", "private; GetInstance has run it before any fault can be put in"},
    {"LoggerCtl::~LoggerCtl", "runs at exit, allocates nothing"},
    {"kovari::NumaScenarioIns::~NumaScenarioIns", "every row of an instance ends with it"},
    {"PassiveWatchdog::MonitorThreadFunc", "private; the rows of Start run it"},
};

/// "Class::Operation", or with the template argument, out of an exported symbol.
std::string NameOf(const std::string& symbol)
{
    int status = 0;
    char* const readable = abi::__cxa_demangle(symbol.c_str(), nullptr, nullptr, &status);
    std::string name = status == 0 ? readable : symbol;
    std::free(readable);
    name = name.substr(0, name.find('('));
    const std::size_t tag = name.find("[abi:cxx11]");
    if (tag != std::string::npos) {
        name.erase(tag, std::string("[abi:cxx11]").size());
    }
    // Function templates stand with the type of their result.
    return name.substr(name.rfind(' ') == std::string::npos ? 0 : name.rfind(' ') + 1);
}

std::set<std::string> ExportedFunctions()
{
    std::set<std::string> names;
    std::ifstream list(std::string(SOURCE_DIR) + "/tests/golden/exports.txt");
    std::string kind;
    std::string symbol;
    while (list >> kind >> symbol) {
        if (kind != "D") {
            names.insert(NameOf(symbol));
        }
    }
    return names;
}

std::set<std::string> Rows()
{
    std::set<std::string> names;
    for (const faults::Operation& operation : faults::AllOperations()) {
        EXPECT_TRUE(names.insert(operation.name).second) << operation.name << " has two rows";
    }
    return names;
}

TEST(FaultCoverage, EveryExportedFunctionHasARowOrAReason)
{
    const std::set<std::string> exported = ExportedFunctions();
    const std::set<std::string> rows = Rows();
    ASSERT_GT(exported.size(), 100U);
    for (const std::string& name : exported) {
        EXPECT_NE(rows.count(name), EXEMPT.count(name)) << name << ": needs a row or a reason, not both";
    }
    for (const std::string& name : rows) {
        EXPECT_EQ(exported.count(name), 1U) << name << " has a row and is not exported";
    }
    for (const auto& [name, reason] : EXEMPT) {
        EXPECT_EQ(exported.count(name), 1U) << name << " is not exported";
    }
    std::printf("%zu exported functions, %zu rows, %zu exempt\n", exported.size(), rows.size(),
                EXEMPT.size());
}

}  // namespace
