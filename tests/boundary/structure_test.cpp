// SPDX-License-Identifier: MIT
//
// Who may include whom, and that nothing is left out of the build. Every check runs on this tree, which has
// no fault, and on small planted ones, which have.

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/source_tree.h"

namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::IsEmpty;

const fs::path ROOT = SOURCE_DIR;

/// A source tree of a few files, gone at the end.
class PlantedTree {
public:
    PlantedTree()
    {
        std::string name = testing::TempDir() + "structure_test_XXXXXX";
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("cannot make a directory at " + name);
        }
        m_root = name;
    }
    PlantedTree(const PlantedTree&) = delete;
    PlantedTree& operator=(const PlantedTree&) = delete;
    ~PlantedTree() { fs::remove_all(m_root); }

    PlantedTree& Add(const std::string& path, const std::string& text)
    {
        fs::create_directories((m_root / path).parent_path());
        std::ofstream(m_root / path) << text;
        return *this;
    }

    const fs::path& Root() const { return m_root; }

private:
    fs::path m_root;
};

TEST(Layering, HoldsInThisTree)
{
    EXPECT_THAT(support::LayeringFaults(ROOT), IsEmpty());
}

TEST(Layering, LooksAtThisTree)
{
    // Guards against a root that holds nothing: the same walk over it finds these.
    for (const char* file : {"scenario/framework.h", "host/plugin_loader.h", "tests/support/source_tree.h"}) {
        EXPECT_TRUE(fs::is_regular_file(ROOT / file)) << file;
    }
}

struct ForbiddenInclude {
    const char* file;
    const char* target;
    const char* allowed;
};

TEST(Layering, EveryRoomIsKeptFromTheOthers)
{
    const std::vector<ForbiddenInclude> cases = {
        {"scenario/a.cpp", "common/x.h", "scenario may include scenario/"},
        {"scenario/a.h", "config/x.h", "scenario may include scenario/"},
        {"scenario/a.cpp", "host/x.h", "scenario may include scenario/"},
        {"common/a.cpp", "scenario/export.h", "common may include common/"},
        {"common/a.cpp", "config/x.h", "common may include common/"},
        {"common/sub/a.h", "tools/t/x.h", "common may include common/"},
        {"config/a.cpp", "scenario/framework.h", "config may include config/, common/"},
        {"config/a.cpp", "host/x.h", "config may include config/, common/"},
        {"host/a.cpp", "scenario/numa_scenario.h", "host may include host/, scenario/framework.h"},
        {"host/a.cpp", "common/x.h", "host may include host/, scenario/framework.h"},
        {"host/a.cpp", "tools/t/x.h", "host may include host/, scenario/framework.h"},
        {"tools/t/a.cpp", "scenario/numa_scenario_ins.h",
         "tools may include tools/, host/, config/, common/, scenario/framework.h, scenario/numa_scenario.h"},
        {"tools/t/a.cpp", "tests/support/x.h",
         "tools may include tools/, host/, config/, common/, scenario/framework.h, scenario/numa_scenario.h"},
        {"tools/cli/a.cpp", "common/x.h", "tools/cli may include tools/cli/"},
        {"tools/numa_score/a.cpp", "tools/tnstat/x.h",
         "tools/numa_score may include tools/numa_score/, host/, config/, common/, scenario/framework.h, "
         "scenario/numa_scenario.h, tools/cli/"},
        {"tools/numa_score/conformance/a.cpp", "tools/tarnix/x.h",
         "tools/numa_score may include tools/numa_score/, host/, config/, common/, scenario/framework.h, "
         "scenario/numa_scenario.h, tools/cli/"},
        {"tools/tarnix/a.cpp", "tools/tnstat/x.h",
         "tools/tarnix may include tools/tarnix/, host/, config/, common/, scenario/framework.h, "
         "scenario/numa_scenario.h, tools/cli/, tools/tarnix_config/"},
        {"tools/tarnix_config/a.cpp", "host/x.h",
         "tools/tarnix_config may include tools/tarnix_config/, config/, common/, tools/cli/"},
        {"tools/tnstat/a.cpp", "host/x.h",
         "tools/tnstat may include tools/tnstat/, config/, common/, tools/cli/"},
    };
    for (const ForbiddenInclude& row : cases) {
        for (const char* quotes : {"\"\"", "<>"}) {
            PlantedTree tree;
            tree.Add(row.target, "");
            tree.Add(row.file, std::string("// first\n#include <vector>\n#  include ") + quotes[0] +
                                   row.target + quotes[1] + "  // why\n");
            EXPECT_THAT(
                support::LayeringFaults(tree.Root()),
                ElementsAre(std::string(row.file) + ":3: includes " + row.target + "; " + row.allowed));
        }
    }
}

TEST(Layering, AllowsWhatTheRoomsNeed)
{
    PlantedTree tree;
    tree.Add("scenario/framework.h", "")
        .Add("scenario/numa_scenario.h", "#include \"scenario/framework.h\"\n");
    tree.Add("scenario/numa_scenario_ins.h", "")
        .Add("common/x.h", "#include \"common/y.h\"\n")
        .Add("common/y.h", "");
    tree.Add("config/x.h", "#include \"common/x.h\"\n");
    tree.Add("host/x.h", "#include <yaml.h>\n#include \"scenario/framework.h\"\n");
    tree.Add("tools/t/a.cpp",
             "#include \"host/x.h\"\n#include \"config/x.h\"\n#include \"common/x.h\"\n"
             "#include \"scenario/numa_scenario.h\"\n#include \"scenario/framework.h\"\n");
    tree.Add("tests/a_test.cpp", "#include \"scenario/numa_scenario_ins.h\"\n#include \"host/x.h\"\n");
    tree.Add("bench/a_bench.cpp", "#include \"scenario/numa_scenario_ins.h\"\n#include \"config/x.h\"\n");
    EXPECT_THAT(support::LayeringFaults(tree.Root()), IsEmpty());
}

TEST(Layering, WantsIncludesFromTheRoot)
{
    PlantedTree tree;
    tree.Add("host/x.h", "")
        .Add("host/a.cpp", "#include \"x.h\"\n")
        .Add("tests/b.cpp", "#include \"../host/x.h\"\n");
    tree.Add("host/c.cpp", "#include \"host/../host/x.h\"\n");
    EXPECT_THAT(
        support::LayeringFaults(tree.Root()),
        ElementsAre(
            "host/a.cpp:1: \"x.h\" is no file below the root; write includes of ours from there",
            "host/c.cpp:1: \"host/../host/x.h\" is no file below the root; write includes of ours from there",
            "tests/b.cpp:1: \"../host/x.h\" is no file below the root; write includes of ours from there"));
}

TEST(IncludeCircle, NoneInThisTree)
{
    EXPECT_THAT(support::IncludeCircles(ROOT), IsEmpty());
}

TEST(IncludeCircle, IsFoundOnceHoweverItIsEntered)
{
    PlantedTree tree;
    tree.Add("common/a.h", "#include \"common/c.h\"\n").Add("common/c.h", "#include \"common/b.h\"\n");
    tree.Add("common/b.h", "#include \"common/a.h\"\n").Add("common/z.h", "#include \"common/b.h\"\n");
    tree.Add("config/self.h", "#include \"config/self.h\"\n");
    EXPECT_THAT(support::IncludeCircles(tree.Root()),
                ElementsAre("common/a.h -> common/c.h -> common/b.h -> common/a.h",
                            "config/self.h -> config/self.h"));
}

TEST(IncludeCircle, IsNotADiamond)
{
    PlantedTree tree;
    tree.Add("common/a.h", "#include \"common/b.h\"\n#include \"common/c.h\"\n");
    tree.Add("common/b.h", "#include \"common/d.h\"\n").Add("common/c.h", "#include \"common/d.h\"\n");
    tree.Add("common/d.h", "");
    EXPECT_THAT(support::IncludeCircles(tree.Root()), IsEmpty());
}

TEST(TestFiles, AreAllBuiltInThisTree)
{
    EXPECT_THAT(support::UnlistedTests(ROOT), IsEmpty());
}

TEST(TestFiles, AreMissedWhenNoListNamesThem)
{
    PlantedTree tree;
    tree.Add("tests/CMakeLists.txt", "add(up unit/up_test.cpp)\n").Add("tests/unit/up_test.cpp", "");
    tree.Add(
        "tests/unit/CMakeLists.txt",
        "add(one one_test.cpp)\n# add(two two_test.cpp)\nadd(xfour_test.cpp)\nadd(five \"five_test.cpp\")\n");
    tree.Add("tests/unit/one_test.cpp", "").Add("tests/unit/two_test.cpp", "");
    tree.Add("tests/unit/three_test.cpp", "")
        .Add("tests/unit/four_test.cpp", "")
        .Add("tests/unit/five_test.cpp", "");
    tree.Add("tests/loop/CMakeLists.txt",
             "foreach(unit six\n        seven)\n  add(${unit}_test ${unit}_test.cpp)\nendforeach()\n");
    tree.Add("tests/loop/six_test.cpp", "")
        .Add("tests/loop/seven_test.cpp", "")
        .Add("tests/loop/eight_test.cpp", "");
    tree.Add("tests/loop/add_test.cpp.txt", "").Add("tests/loop/_test.cpp", "");
    tree.Add("tests/other/one_test.cpp", "").Add("tests/fixtures/data_test.cpp", "");
    tree.Add("tests/fuzz/line_fuzz.cpp", "").Add("tests/unit/helper.cpp", "");
    tree.Add("bench/CMakeLists.txt", "add(a_bench a_bench.cpp)\n").Add("bench/a_bench.cpp", "");
    tree.Add("bench/b_bench.cpp", "");
    const std::string rest = ": named in no CMakeLists.txt beside or above it; nothing builds it";
    EXPECT_THAT(support::UnlistedTests(tree.Root()),
                ElementsAre("bench/b_bench.cpp" + rest, "tests/fuzz/line_fuzz.cpp" + rest,
                            "tests/loop/_test.cpp" + rest, "tests/loop/eight_test.cpp" + rest,
                            "tests/other/one_test.cpp" + rest, "tests/unit/four_test.cpp" + rest,
                            "tests/unit/three_test.cpp" + rest, "tests/unit/two_test.cpp" + rest));
}

TEST(BuildSwitch, IsDeclaredWhereverItIsUsedInThisTree)
{
    EXPECT_THAT(support::UndeclaredSwitches(ROOT), IsEmpty());
}

TEST(BuildSwitch, IsMissedWhenNothingDeclaresIt)
{
    PlantedTree tree;
    tree.Add("CMakeLists.txt", "option(SCENARIO_NUMA_ONE \"\" ON)\nset(SCENARIO_NUMA_TWO x CACHE PATH y)\n");
    tree.Add("bench/CMakeLists.txt",
             "if(SCENARIO_NUMA_ONE AND SCENARIO_NUMA_ONE_MORE)\n# SCENARIO_NUMA_GONE\nendif()\n");
    tree.Add("cmake/x.cmake",
             "find_program(SCENARIO_NUMA_TOOL t)\nfoo(${SCENARIO_NUMA_TOOL} ${SCENARIO_NUMA_OLD})\n");
    tree.Add("scenario/CMakeLists.txt", "bar(${SCENARIO_NUMA_TWO} SCENARIO_NUMA_TW)\n");
    const std::string rest = " is declared nowhere; what it guards is never built";
    EXPECT_THAT(support::UndeclaredSwitches(tree.Root()),
                ElementsAre("bench/CMakeLists.txt:1: SCENARIO_NUMA_ONE_MORE" + rest,
                            "cmake/x.cmake:2: SCENARIO_NUMA_OLD" + rest,
                            "scenario/CMakeLists.txt:1: SCENARIO_NUMA_TW" + rest));
}

TEST(Licence, StandsOnEveryFileOfThisTree)
{
    EXPECT_THAT(support::MissingLicences(ROOT), IsEmpty());
}

TEST(Licence, IsMissed)
{
    PlantedTree tree;
    tree.Add("CMakeLists.txt", "project(x)\n")
        .Add("run", "#!/bin/sh\nset -eu\n")
        .Add("README.md", "# Text\n");
    tree.Add("test", "#!/bin/sh\n# SPDX-License-Identifier: MIT\n");
    tree.Add("host/a.cpp", "// SPDX-License-Identifier: MIT\n")
        .Add("host/b.cpp", "\n// SPDX-License-Identifier: MIT\n");
    tree.Add("host/c.h", "// SPDX-License-Identifier: Zlib\n")
        .Add("host/d.h", "")
        .Add("scripts/e.py", "import os\n");
    tree.Add("cmake/f.cmake", "# text\n").Add("tests/fixtures/g.cpp", "").Add("tests/golden/h.sh", "");
    const std::string rest = ": does not begin with \"SPDX-License-Identifier: MIT\"";
    EXPECT_THAT(support::MissingLicences(tree.Root()),
                ElementsAre("CMakeLists.txt" + rest, "cmake/f.cmake" + rest, "host/b.cpp" + rest,
                            "host/c.h" + rest, "host/d.h" + rest, "run" + rest, "scripts/e.py" + rest));
}

}  // namespace
