// SPDX-License-Identifier: MIT

#include "host/text_file.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/sysfs_tree.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class TextFileTest : public testing::Test {
protected:
    support::SysfsTree tree;
};

TEST_F(TextFileTest, ReadsEveryByte)
{
    const std::string text("a\0b\n\xff", 5);
    tree.Write("file", text);
    const host::TextFile file = host::ReadTextFile(tree.Path("file"));
    EXPECT_EQ(file.error, "");
    EXPECT_EQ(file.errorNumber, 0);
    EXPECT_EQ(file.text, text);
    tree.Write("empty", "");
    EXPECT_EQ(host::ReadTextFile(tree.Path("empty")).error, "");
}

TEST_F(TextFileTest, ReadsUpToTheLimitAndNoFurther)
{
    tree.Write("file", std::string(10000, 'x'));
    EXPECT_THAT(host::ReadTextFile(tree.Path("file"), 10000).text, SizeIs(10000));
    const host::TextFile file = host::ReadTextFile(tree.Path("file"), 9999);
    EXPECT_EQ(file.errorNumber, EFBIG);
    EXPECT_EQ(file.error, "cannot read " + tree.Path("file") + ": it is longer than 9999 bytes");
    EXPECT_EQ(file.text, "");
}

TEST_F(TextFileTest, EndlessFilesAreRefused)
{
    const host::TextFile file = host::ReadTextFile("/dev/zero");
    EXPECT_EQ(file.errorNumber, EINVAL);
    EXPECT_EQ(file.error, "cannot read /dev/zero: it is no regular file");
}

TEST_F(TextFileTest, NeverWaitsForAnotherProcess)
{
    const std::string fifo = tree.Path("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(host::ReadTextFile(fifo).error, "cannot read " + fifo + ": it is no regular file");
}

TEST_F(TextFileTest, SaysWhyAFileCannotBeRead)
{
    EXPECT_EQ(host::ReadTextFile(tree.Path("absent")).errorNumber, ENOENT);
    EXPECT_EQ(host::ReadTextFile(tree.Path("absent")).error,
              "cannot read " + tree.Path("absent") + ": No such file or directory");
    EXPECT_EQ(host::ReadTextFile(tree.Root()).error,
              "cannot read " + tree.Root() + ": it is no regular file");
    tree.Write("file", "x");
    EXPECT_EQ(host::ReadTextFile(tree.Path("file/below")).error,
              "cannot read " + tree.Path("file/below") + ": Not a directory");
    std::filesystem::create_symlink("file", tree.Path("link"));
    EXPECT_EQ(host::ReadTextFile(tree.Path("link")).error,
              "cannot read " + tree.Path("link") + ": it is a symbolic link, expected a regular file");
    EXPECT_EQ(host::ReadTextFile(tree.Path("a\n\x1b[1m")).error,
              "cannot read " + tree.Root() + "/a\\n\\x1b[1m: No such file or directory");
    EXPECT_EQ(host::ReadTextFile(std::string("/etc/passwd\0x", 13)).error,
              "cannot read /etc/passwd\\x00x: the path holds a NUL byte");
}

TEST_F(TextFileTest, SocketsAreRefused)
{
    const std::string path = tree.Path("socket");
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_GE(fd, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(path.size(), sizeof(address.sun_path));
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const int bound = bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    close(fd);
    ASSERT_EQ(bound, 0);
    EXPECT_EQ(host::ReadTextFile(path).errorNumber, ENXIO);
}

TEST_F(TextFileTest, LeavesNoDescriptorOpen)
{
    const auto count = [] { return host::ListDirectory("/proc/self/fd").names.size(); };
    tree.Write("file", "x");
    const std::size_t before = count();
    for (int i = 0; i < 10; ++i) {
        host::ReadTextFile(tree.Path("file"));
        host::ReadTextFile(tree.Path("file"), 0);
        host::ReadTextFile(tree.Root());
        host::ListDirectory(tree.Root());
    }
    EXPECT_EQ(count(), before);
}

TEST_F(TextFileTest, ListsInNaturalOrderWithoutHiddenNames)
{
    for (const char* name : {"d/pmu_10", "d/pmu_2", "d/.hidden", "d/pmu_1"}) {
        tree.Write(name, "");
    }
    const host::DirectoryListing listing = host::ListDirectory(tree.Path("d"));
    EXPECT_THAT(listing.names, ElementsAre("pmu_1", "pmu_2", "pmu_10"));
    EXPECT_FALSE(listing.cut);
    EXPECT_EQ(listing.error, "");
}

TEST_F(TextFileTest, ListsNoMoreThanTheLimit)
{
    for (int i = 0; i < 5; ++i) {
        tree.Write("d/" + std::to_string(i), "");
    }
    EXPECT_THAT(host::ListDirectory(tree.Path("d"), 5).names, SizeIs(5));
    EXPECT_FALSE(host::ListDirectory(tree.Path("d"), 5).cut);
    EXPECT_THAT(host::ListDirectory(tree.Path("d"), 4).names, SizeIs(4));
    EXPECT_TRUE(host::ListDirectory(tree.Path("d"), 4).cut);
}

TEST_F(TextFileTest, SaysWhyADirectoryCannotBeListed)
{
    const host::DirectoryListing listing = host::ListDirectory(tree.Path("absent"));
    EXPECT_THAT(listing.names, IsEmpty());
    EXPECT_EQ(listing.errorNumber, ENOENT);
    EXPECT_EQ(listing.error, "cannot read " + tree.Path("absent") + ": No such file or directory");
}

TEST(TrimText, TakesBlanksOffBothEnds)
{
    EXPECT_EQ(host::TrimText(" \t a b\r\n\n"), "a b");
    EXPECT_EQ(host::TrimText(" \n"), "");
    EXPECT_EQ(host::TrimText(""), "");
}

TEST(NaturalLess, OrdersNumbersByValue)
{
    const std::vector<std::string> sorted = {"",
                                             "1",
                                             "2",
                                             "10",
                                             "a",
                                             "a1",
                                             "a01b",
                                             "a1b",
                                             "a2",
                                             "a2b1",
                                             "a2b12",
                                             "a10",
                                             "a99999999999999999998",
                                             "a99999999999999999999",
                                             "a_1",
                                             "b",
                                             "b\xff"};
    for (std::size_t i = 0; i < sorted.size(); ++i) {
        for (std::size_t j = 0; j < sorted.size(); ++j) {
            EXPECT_EQ(host::NaturalLess(sorted[i], sorted[j]), i < j) << sorted[i] << " < " << sorted[j];
        }
    }
}

}  // namespace
