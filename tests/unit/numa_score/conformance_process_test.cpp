// SPDX-License-Identifier: MIT
//
// What becomes of the process that examines a rule, and of its notes.

#include "tools/numa_score/conformance/rule_process.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>

#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <string>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

#include "tests/support/scratch_directory.h"
#include "tools/numa_score/conformance/process_figures.h"

namespace {

using namespace conformance;
using Kind = ProcessEnd::Kind;

class RuleProcess : public testing::Test {
protected:
    ~RuleProcess() override { close(fd); }

    std::string Seen(Kind kind, int number = 0) const
    {
        const Verdict verdict = Judge({kind, number}, notes, getpid());
        return std::string(OutcomeText(verdict.outcome)) + ": " + verdict.seen;
    }

    int fd = memfd_create("notes", MFD_CLOEXEC);
    Notes notes{fd};
};

TEST_F(RuleProcess, VerdictOfAProcessThatCameToItsEnd)
{
    notes.At("Run of \"x\"");
    notes.Write(Failed("did wrong", "do right"));
    EXPECT_EQ(Seen(Kind::EXITED), "FAILED: did wrong");
    EXPECT_EQ(Judge({Kind::EXITED, 0}, notes, getpid()).remedy, "do right");
}

TEST_F(RuleProcess, VerdictOfAProcessThatDidNot)
{
    notes.At("a place with a longer name than the next");
    notes.At("Run of \"x\"");
    EXPECT_EQ(Seen(Kind::EXITED, 3), "FAILED: ended the process with status 3 in Run of \"x\"");
    EXPECT_EQ(Seen(Kind::SIGNALLED, SIGABRT), "FAILED: ended by signal 6 (SIGABRT) in Run of \"x\"");
    EXPECT_EQ(Seen(Kind::TIMED_OUT), "FAILED: not back after 10 s in Run of \"x\"");
    EXPECT_EQ(Seen(Kind::SIGNALLED, SIGRTMAX),
              "FAILED: ended by signal " + std::to_string(SIGRTMAX) + " in Run of \"x\"")
        << "one without a name";
    notes.Touched("a record that it had published");
    EXPECT_EQ(
        Seen(Kind::SIGNALLED, SIGSEGV),
        "FAILED: ended by signal 11 (SIGSEGV) in Run of \"x\", on touching a record that it had published");
    EXPECT_EQ(Seen(Kind::INTERRUPTED), "not examined: interrupted");
    EXPECT_EQ(Seen(Kind::NOT_STARTED, ENOMEM),
              "not examined: no process to examine it in: Cannot allocate memory");
}

TEST_F(RuleProcess, WhatHasNotBegunIsNoPlugInsFault)
{
    EXPECT_EQ(Seen(Kind::EXITED, 127),
              "not examined: no process to examine it in: ended with status 127 before it began");
    EXPECT_EQ(Seen(Kind::EXITED, 0),
              "not examined: no process to examine it in: ended with status 0 before it began");
    EXPECT_EQ(Seen(Kind::SIGNALLED, SIGKILL),
              "not examined: no process to examine it in: ended by signal 9 (SIGKILL) before it began");
    EXPECT_EQ(Seen(Kind::TIMED_OUT), "not examined: no process to examine it in: not begun after 10 s");
}

TEST_F(RuleProcess, VerdictOfAnotherProcessIsNone)
{
    notes.At("Run of \"x\"");
    notes.Write(Passed("well"));
    EXPECT_EQ(Seen(Kind::EXITED), "passed: well");
    EXPECT_EQ(Seen(Kind::EXITED, 1), "FAILED: ended the process with status 1 in Run of \"x\"");
    EXPECT_EQ(Judge({Kind::EXITED, 0}, notes, getpid() + 1).seen,
              "ended the process with status 0 in Run of \"x\"");
}

TEST_F(RuleProcess, PlacesAreOneLine)
{
    notes.At("Run\nof \x1b \"x\\n\"");
    EXPECT_EQ(notes.Place(), "Run\\nof \\x1b \"x\\n\"");
}

TEST_F(RuleProcess, NotesAreBounded)
{
    notes.At(std::string(100000, 'p'));
    notes.Touched("t");
    notes.Write(Passed(std::string(100000, 's')));
    EXPECT_EQ(notes.Place(), std::string(Notes::PLACE_BYTES - 1, 'p'));
    EXPECT_EQ(notes.TouchedText(), "t");
    ASSERT_TRUE(notes.Read(getpid()).has_value());
    EXPECT_EQ(notes.Read(getpid())->outcome, Outcome::PASSED);
}

TEST_F(RuleProcess, NoNotesAreNoVerdict)
{
    EXPECT_EQ(notes.Place(), "");
    EXPECT_FALSE(notes.Read(getpid()).has_value());
    const Notes nowhere(-1);
    nowhere.At("x");
    nowhere.Touched("x");
    nowhere.Write(Passed("x"));
    EXPECT_EQ(nowhere.Place(), "");
    EXPECT_FALSE(nowhere.Read(getpid()).has_value());
}

TEST(ProcessFigures, CountThreadsAndDescriptors)
{
    const std::size_t before = ThreadCount();
    std::promise<void> end;
    std::thread thread([waits = end.get_future()]() mutable { waits.wait(); });
    EXPECT_EQ(ThreadCount(), before + 1);
    end.set_value();
    thread.join();
    const std::map<int, std::string> descriptors = OpenDescriptors();
    const int fd = open("/dev/zero", O_RDONLY | O_CLOEXEC);
    std::map<int, std::string> expected = descriptors;
    expected[fd] = "/dev/zero";
    EXPECT_EQ(OpenDescriptors(), expected) << "and none for the reading of them";
    close(fd);
    EXPECT_EQ(OpenDescriptors(), descriptors);
}

TEST(ProcessFigures, AreNoneWhereTheyCannotBeRead)
{
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none{0, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    const std::size_t threads = ThreadCount();
    const std::map<int, std::string> descriptors = OpenDescriptors();
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(threads, 0U);
    EXPECT_TRUE(descriptors.empty());
}

TEST(ProcessFigures, AFileIsMappedByItsWholePath)
{
    const support::ScratchDirectory scratch;
    const std::string path = std::filesystem::canonical(scratch / ".").string() + "/library.so";
    std::ofstream(path) << "text";
    EXPECT_FALSE(IsMapped(path));
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    void* const text = mmap(nullptr, 4, PROT_READ, MAP_PRIVATE, fd, 0);
    close(fd);
    EXPECT_TRUE(IsMapped(path));
    EXPECT_FALSE(IsMapped(path.substr(0, path.size() - 1))) << "that is another file";
    EXPECT_FALSE(IsMapped(path + ".1"));
    munmap(text, 4);
    EXPECT_FALSE(IsMapped(path));
}

}  // namespace
