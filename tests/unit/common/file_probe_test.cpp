// SPDX-License-Identifier: MIT

#include "common/file_probe.h"

#include <sys/stat.h>

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/probe_tree.h"

namespace {

size_t OpenDescriptors()
{
    size_t count = 0;
    for (int fd = 0; fd < 1024; ++fd) {
        struct stat info {};
        count += fstat(fd, &info) == 0 ? 1 : 0;
    }
    return count;
}

TEST(FileKind, TellsDirectoriesFromFiles)
{
    const support::TempTree tree;
    const std::string file = tree.Write("file", "x");
    const std::string directory = tree.Path("directory");
    std::filesystem::create_directory(directory);
    std::filesystem::create_symlink(file, tree.Path("to-file"));
    std::filesystem::create_symlink(directory, tree.Path("to-directory"));
    std::filesystem::create_symlink(tree.Path("absent"), tree.Path("dangling"));
    std::filesystem::create_symlink(tree.Path("loop"), tree.Path("loop"));
    ASSERT_EQ(mkfifo(tree.Path("fifo").c_str(), 0600), 0);
    const struct {
        std::string path;
        bool isDirectory;
        bool isFile;
    } cases[] = {{file, false, true},
                 {directory, true, false},
                 {directory + "/", true, false},
                 {file + "/", false, false},
                 {tree.Path("to-file"), false, true},
                 {tree.Path("to-directory"), true, false},
                 {tree.Path("dangling"), false, false},
                 {tree.Path("loop"), false, false},
                 {tree.Path("fifo"), false, false},
                 {tree.Path("absent"), false, false},
                 {"/dev/null", false, false},
                 {"", false, false},
                 {std::string(100000, 'x'), false, false},
                 {file + std::string("\0.txt", 5), false, false},
                 {directory + std::string("\0x", 2), false, false}};
    for (const auto& expected : cases) {
        EXPECT_EQ(IsDirectoryExists(expected.path), expected.isDirectory) << expected.path.substr(0, 200);
        EXPECT_EQ(FileExists(expected.path), expected.isFile) << expected.path.substr(0, 200);
    }
}

TEST(ReadStrFromFile, TakesTheFirstWord)
{
    const support::TempTree tree;
    const struct {
        const char* name;
        std::string content;
        std::string word;
    } cases[] = {{"plain", "1\n", "1"},
                 {"no line break", "active", "active"},
                 {"several words", "one two three\nfour\n", "one"},
                 {"leading white space", " \t\r\n\v\f word rest", "word"},
                 {"all separators end it", "a\vb", "a"},
                 {"a carriage return ends it", "1\r\n", "1"},
                 {"binary", std::string("\x01\x00\xff z", 5), std::string("\x01\x00\xff", 3)},
                 {"across read borders", std::string(4095, ' ') + "border word", "border"},
                 {"word across a border", std::string(4093, ' ') + "border word", "border"},
                 {"ends at a border", std::string(4090, ' ') + "border", "border"},
                 {"a long word", std::string(60000, 'w') + " x", std::string(60000, 'w')}};
    for (const auto& expected : cases) {
        std::string word = "untouched";
        EXPECT_TRUE(ReadStrFromFile(tree.Write("file", expected.content), word)) << expected.name;
        EXPECT_EQ(word, expected.word) << expected.name;
    }
}

TEST(ReadStrFromFile, FailsWithoutAWordAndLeavesTheOutputAlone)
{
    const support::TempTree tree;
    std::filesystem::create_directory(tree.Path("directory"));
    ASSERT_EQ(mkfifo(tree.Path("fifo").c_str(), 0600), 0);
    const std::string paths[] = {tree.Path("absent"),
                                 tree.Path("directory"),
                                 tree.Path("fifo"),
                                 "",
                                 "/dev/null",
                                 tree.Write("empty", ""),
                                 tree.Write("blank", " \n\t\r\n"),
                                 tree.Write("only white space", std::string(1U << 20, ' ') + "late"),
                                 tree.Write("endless word", std::string(1U << 20, 'x')),
                                 tree.Write("nul", "word") + std::string("\0", 1)};
    for (const std::string& path : paths) {
        std::string word = "untouched";
        EXPECT_FALSE(ReadStrFromFile(path, word)) << path;
        EXPECT_EQ(word, "untouched") << path;
    }
}

TEST(ReadStrFromFile, EndsOnEndlessDevices)
{
    std::string word = "untouched";
    EXPECT_FALSE(ReadStrFromFile("/dev/zero", word));
    EXPECT_EQ(word, "untouched");
}

TEST(ReadStrFromFile, LeavesNoDescriptorOpen)
{
    const support::TempTree tree;
    std::filesystem::create_directory(tree.Path("directory"));
    const std::string file = tree.Write("file", "word");
    const size_t before = OpenDescriptors();
    std::string word;
    for (int round = 0; round < 50; ++round) {
        ReadStrFromFile(file, word);
        ReadStrFromFile(tree.Path("directory"), word);
        ReadStrFromFile(tree.Path("absent"), word);
        ReadStrFromFile("/dev/zero", word);
    }
    EXPECT_EQ(OpenDescriptors(), before);
}

}  // namespace
