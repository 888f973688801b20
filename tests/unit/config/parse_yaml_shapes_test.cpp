// SPDX-License-Identifier: MIT
//
// Whole files: every shape that a value can have under every key, through the controller.

#include <string>

#include <gtest/gtest.h>

#include "config/conf_ctl.h"
#include "tests/support/conf_text.h"
#include "tests/support/own_directory.h"
#include "tests/support/value_shapes.h"

namespace {

using support::ConfText;
using support::ShapeClass;
using support::ValueShape;

bool BeginsWith(const std::string& text, const std::string& beginning)
{
    return text.rfind(beginning, 0) == 0;
}

/// Whether a failing pass names the key: as the readers do, as numa-ratio does, or as the parser does.
bool NamesIt(const std::string& message, const std::string& key)
{
    return BeginsWith(message, key + " ") || BeginsWith(message, TARNIX_YAML + " error: " + key + " ") ||
           BeginsWith(message, "YAML loading error: ") ||
           (key == "numa-ratio" && BeginsWith(message, " numa-ratio is not a unsigned int value, value is "));
}

/// Validation speaks of a value that could be read, under its own names.
bool IsOfValidation(const std::string& message)
{
    return message.back() == '\n' && !BeginsWith(message, TARNIX_YAML);
}

class ParseYamlShapes : public testing::TestWithParam<std::string> {};

TEST_P(ParseYamlShapes, SucceedOrFailWithTheKey)
{
    const std::string& key = GetParam();
    const support::OwnDirectory directory;
    ConfCtl ctl;
    ASSERT_EQ(ctl.InitOptMap(false).code, 0);
    int passed = 0;
    int failed = 0;
    for (const ValueShape& shape : support::ValueShapes(key)) {
        SCOPED_TRACE(shape.name);
        directory.Write("f.yaml", shape.document);
        Conf conf;
        TnResult result;
        ASSERT_NO_THROW(result = ctl.ParseYaml("f.yaml", false, false, conf));
        if (result.code == 0) {
            ++passed;
            EXPECT_EQ(result.message, "f.yaml parse success.");
        } else {
            ++failed;
            EXPECT_EQ(result.code, 1);
            EXPECT_TRUE(NamesIt(result.message, key) ||
                        (shape.kind == ShapeClass::SCALAR && IsOfValidation(result.message)))
                << result.message;
        }
        if (shape.kind == ShapeClass::ABSENT) {
            EXPECT_EQ(result.code, 0) << result.message;
            EXPECT_EQ(ConfText(conf), ConfText(Conf()));
        }
    }
    EXPECT_GE(passed, 15);
    EXPECT_GE(failed,
              key == "log-file" || key == "help" || key == "version" || key == "reload" || key == "numa-ratio"
                  ? 0
                  : 15);
}

std::vector<std::string> Keys()
{
    return {"policy",
            "sampling-interval",
            "sampling-times",
            "spe-period",
            "log-level",
            "watchdog-timeout",
            "log-file",
            "snapshot-interval",
            "metrics",
            "tune-mode",
            "load-way",
            "bind-socket",
            "smt",
            "irq",
            "help",
            "cluster-schedule",
            "version",
            "whitelist",
            "blacklist",
            "group",
            "min-numa-score",
            "max-numa-score",
            "min-rx-ops-per-ms",
            "numa-ratio",
            "page-reserve",
            "precise-load",
            "mem-numa-aggregation",
            "mem-balance",
            "reload",
            "process"};
}

INSTANTIATE_TEST_SUITE_P(Keys, ParseYamlShapes, testing::ValuesIn(Keys()), [](const auto& key) {
    std::string name = key.param;
    for (char& c : name) {
        c = c == '-' ? '_' : c;
    }
    return name;
});

TEST(ParseYamlShapesTable, HasEveryKey)
{
    std::vector<std::string> registered;
    for (const Option& opt : OptionInfo(ConfigType::TARNIX).GetAllOptions()) {
        registered.push_back(opt.longOpt);
    }
    EXPECT_EQ(Keys(), registered);
}

/// A key that only the command line has means nothing in a file.
TEST(ParseYamlShapesTable, OptionsOfTheCommandLineAreNoKeys)
{
    const support::OwnDirectory directory;
    directory.Write("f.yaml", "log-file: [x]\nhelp: {}\nversion: true\nreload: 7\nunknown: *none\n");
    ConfCtl ctl;
    ASSERT_EQ(ctl.InitOptMap(false).code, 0);
    Conf conf;
    EXPECT_TRUE(BeginsWith(ctl.ParseYaml("f.yaml", false, false, conf).message, "YAML loading error: "));
    directory.Write("f.yaml", "log-file: [x]\nhelp: {}\nversion: true\nreload: 7\nunknown: [~]\n");
    EXPECT_EQ(ctl.ParseYaml("f.yaml", false, false, conf).message, "f.yaml parse success.");
    EXPECT_EQ(ConfText(conf), ConfText(Conf()));
}

}  // namespace
