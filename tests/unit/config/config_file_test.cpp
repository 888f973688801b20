// SPDX-License-Identifier: MIT

#include "config/config_file.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "config/conf_ctl.h"
#include "tests/support/child_run.h"
#include "tests/support/own_directory.h"

namespace {

using support::OwnDirectory;

class ConfigFile : public testing::Test {
protected:
    TnResult Load(const std::string& path) { return config_file::Load(path, root); }

    /// Loads a file with that text, which has to be YAML.
    YAML::Node Text(const std::string& text)
    {
        directory.Write("f.yaml", text);
        const TnResult result = Load("f.yaml");
        EXPECT_EQ(result.code, 0) << result.message;
        EXPECT_EQ(result.message, "");
        return root;
    }

    /// Loads it expecting a failure; what was loaded before stays.
    std::string Failure(const std::string& path)
    {
        root = YAML::Load("before: 1");
        const TnResult result = Load(path);
        EXPECT_EQ(result.code, 1);
        EXPECT_EQ(root["before"].as<std::string>(), "1") << "the root stays as it was";
        return result.message;
    }

    OwnDirectory directory;
    YAML::Node root;
};

/// yaml-cpp's text for a file that cannot be opened.
std::string CannotOpen(const std::string& path)
{
    try {
        YAML::LoadFile(path);
    } catch (const YAML::Exception& error) {
        return std::string("YAML loading error: ") + error.what();
    }
    return "it can be opened";
}

TEST_F(ConfigFile, ThatCannotBeOpenedHasTheParsersOwnText)
{
    std::filesystem::create_symlink("loop", "loop");
    std::filesystem::create_symlink("nowhere", "dangling");
    directory.Write("file", "a: 1\n");
    for (const std::string& path : std::vector<std::string>{"", "absent", "absent/file", "file/below", "loop",
                                                            "dangling", std::string(5000, 'x')}) {
        EXPECT_EQ(Failure(path), CannotOpen(path));
        EXPECT_NE(Failure(path), "it can be opened");
    }
}

TEST_F(ConfigFile, ThatMayNotBeReadHasTheParsersOwnText)
{
    directory.Write("secret", "a: 1\n");
    ASSERT_EQ(chmod("secret", 0), 0);
    ASSERT_EQ(chmod(".", 0755), 0);
    if (geteuid() != 0) {
        EXPECT_EQ(Failure("secret"), CannotOpen("secret"));
        return;
    }
    const support::ChildResult child = support::RunInChild([] {
        if (setgid(65534) != 0 || setuid(65534) != 0) {
            return 9;
        }
        if (access("secret", R_OK) == 0) {
            return 8;
        }
        YAML::Node node;
        const TnResult result = config_file::Load("secret", node);
        return result.code == 1 && result.message == CannotOpen("secret") ? 0 : 1;
    });
    if (child.status == 9) {
        GTEST_SKIP() << "runs as root and may not become another user";
    }
    if (child.status == 8) {
        GTEST_SKIP() << "this system lets everybody read every file";
    }
    EXPECT_EQ(child.status, 0) << child.err;
}

TEST_F(ConfigFile, OfAnotherKindIsRefusedWithoutWaiting)
{
    std::filesystem::create_directory("dir");
    ASSERT_EQ(mkfifo("fifo", 0600), 0);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_GE(fd, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, "socket");
    ASSERT_EQ(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    std::filesystem::create_symlink("fifo", "link");
    for (const auto& [path, kind] :
         std::vector<std::pair<std::string, std::string>>{{"dir", "a directory"},
                                                          {"dir/", "a directory"},
                                                          {".", "a directory"},
                                                          {"fifo", "a FIFO"},
                                                          {"link", "a FIFO"},
                                                          {"socket", "a socket"},
                                                          {"/dev/zero", "a character device"},
                                                          {"/dev/null", "a character device"}}) {
        EXPECT_EQ(Failure(path), "YAML loading error: " + path + " is " + kind + ", expected a regular file");
    }
    close(fd);
}

TEST_F(ConfigFile, MayBeASymbolicLink)
{
    directory.Write("target", "a: 1\n");
    std::filesystem::create_symlink("target", "one");
    std::filesystem::create_symlink("one", "two");
    EXPECT_EQ(Load("two").message, "");
    EXPECT_EQ(root["a"].as<std::string>(), "1");
}

TEST_F(ConfigFile, MayBeAFileThatDoesNotTellItsSize)
{
    EXPECT_EQ(Load("/proc/self/oom_score_adj").code, 0);
    EXPECT_TRUE(root.IsScalar());
    EXPECT_EQ(Failure("/proc/self/mem"),
              "YAML loading error: /proc/self/mem cannot be read: " + std::string(std::strerror(EIO)));
}

TEST_F(ConfigFile, MayBeExactlyOneMebibyte)
{
    std::string text = "a: 1\n";
    text += std::string((1U << 20U) - text.size() - 1, '#') + "\n";
    ASSERT_EQ(text.size(), 1U << 20U);
    EXPECT_EQ(Text(text)["a"].as<std::string>(), "1");
    directory.Write("larger", text + "\n");
    EXPECT_EQ(Failure("larger"), "YAML loading error: larger is larger than 1048576 bytes");
    // A sparse giant is refused by its size alone.
    ASSERT_EQ(truncate("larger", 1LL << 40), 0);
    EXPECT_EQ(Failure("larger"), "YAML loading error: larger is larger than 1048576 bytes");
}

TEST_F(ConfigFile, OfAnyRootLoads)
{
    EXPECT_TRUE(Text("").IsNull());
    EXPECT_TRUE(Text("# a remark\n\n").IsNull());
    EXPECT_TRUE(Text("--- \n...\n").IsNull());
    EXPECT_TRUE(Text("text").IsScalar());
    EXPECT_TRUE(Text("- a\n- b\n").IsSequence());
    EXPECT_TRUE(Text("a: b\n").IsMap());
}

TEST_F(ConfigFile, TakesLineEndsMarksAndNul)
{
    EXPECT_EQ(Text("a: 1\r\nb: 2\r\n")["b"].as<std::string>(), "2");
    EXPECT_EQ(Text("\xEF\xBB\xBF"
                   "a: 1\n")["a"]
                  .as<std::string>(),
              "1");
    EXPECT_EQ(Text("a: \"x\\0y\"\n")["a"].as<std::string>(), std::string("x\0y", 3));
    EXPECT_EQ(Text("a: 1\na: 2\n")["a"].as<std::string>(), "1") << "of equal keys the first counts";
    EXPECT_EQ(Text("a:\t1\n")["a"].as<std::string>(), "1");
    EXPECT_EQ(Text("a: 1\n---\na: 2\n")["a"].as<std::string>(), "1") << "the first document counts";
}

TEST_F(ConfigFile, ThatIsNoYamlHasTheParsersOwnText)
{
    for (const std::string& text :
         {std::string("a: [1\n"), std::string("a: b: c\n"), std::string("\t- a\n"), std::string("a: *none\n"),
          std::string("@\n"), std::string("a:\n\tb: 1\n"),
          std::string("\x7F"
                      "ELF\x02\x01\x01\0\0\0: [\xFF\xFE{",
                      16)}) {
        directory.Write("bad", text);
        std::string expected;
        try {
            YAML::Load(text);
        } catch (const YAML::Exception& error) {
            expected = std::string("YAML loading error: ") + error.what();
        }
        EXPECT_EQ(Failure("bad"), expected);
        EXPECT_EQ(expected.rfind("YAML loading error: yaml-cpp: error at line ", 0), 0U) << expected;
    }
}

TEST_F(ConfigFile, OfRandomBytesNeverThrows)
{
    std::uint32_t state = 12345;
    for (int round = 0; round < 300; ++round) {
        std::string text;
        for (int i = 0; i < 64; ++i) {
            state = state * 1664525U + 1013904223U;
            const unsigned pick = state >> 24U;
            text += (state >> 16U) % 3 == 0 ? static_cast<char>(pick) : "a:-[]{}&*!|>'\"%#?, \n\t"[pick % 22];
        }
        directory.Write("random", text);
        const TnResult result = Load("random");
        if (result.code != 0) {
            EXPECT_EQ(result.message.rfind("YAML loading error: ", 0), 0U) << result.message;
        }
    }
}

TEST_F(ConfigFile, LeavesNoDescriptorOpen)
{
    directory.Write("good", "a: 1\n");
    directory.Write("bad", "a: [\n");
    const int before = dup(0);
    close(before);
    for (const char* path : {"good", "bad", "absent", ".", "/dev/null", "/proc/self/mem"}) {
        Load(path);
        const int after = dup(0);
        close(after);
        EXPECT_EQ(after, before) << path;
    }
}

TEST_F(ConfigFile, LoadedIntoANodeSharesNothingWithTheOneBefore)
{
    Text("a: 1\n");
    const YAML::Node before = YAML::Clone(root);
    Text("a: 2\n");
    EXPECT_EQ(before["a"].as<std::string>(), "1");
    EXPECT_EQ(root["a"].as<std::string>(), "2");
}

TEST_F(ConfigFile, ReachesTheControllerAsItIs)
{
    directory.Write("good", "a: 1\n");
    ConfCtl ctl;
    EXPECT_EQ(ctl.LoadConfig("good").code, 0);
    EXPECT_EQ(ctl.LoadConfig("good").message, "");
    EXPECT_EQ(ctl.LoadConfig("absent").message, CannotOpen("absent"));
    Conf conf;
    ASSERT_EQ(ctl.InitOptMap(false).code, 0);
    EXPECT_EQ(ctl.ParseYaml("good", false, false, conf).message, "good parse success.");
    const TnResult result = ctl.ParseYaml(".", false, false, conf);
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.message, "YAML loading error: . is a directory, expected a regular file");
}

}  // namespace
