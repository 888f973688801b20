// SPDX-License-Identifier: MIT
//
// What becomes of log lines on a hostile machine: full disks, broken pipes, planted files, limits.

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <iostream>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/log_line_writer.h"
#include "common/log_stream.h"
#include "common/logger_ctl.h"
#include "tests/unit/common/logger_fixture.h"

using support::ChildResult;
using support::FileText;
using support::RunInChild;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;

namespace {

/// A file system of 64 KiB at `path`, unmounted at the end of the scope.
class SmallDisk {
public:
    explicit SmallDisk(const std::string& directory) : path(directory)
    {
        if (mkdir(path.c_str(), 0700) != 0 || mount("tmpfs", path.c_str(), "tmpfs", 0, "size=65536") != 0) {
            error = errno;
        }
    }
    ~SmallDisk()
    {
        if (error == 0) {
            umount2(path.c_str(), MNT_DETACH);
        }
    }

    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    int Error() const { return error; }

private:
    std::string path;
    int error = 0;
};

/// A buffer that fails as the test wants.
class BadBuffer : public std::streambuf {
public:
    bool throws = false;
    bool refuses = false;
    std::string taken;

protected:
    std::streamsize xsputn(const char* text, std::streamsize size) override
    {
        if (throws) {
            throw std::runtime_error("sink");
        }
        if (refuses) {
            return 0;
        }
        taken.append(text, static_cast<std::size_t>(size));
        return size;
    }
};

}  // namespace

class LoggerFaults : public LoggerFixture {};

TEST(LogTexts, ReportsOfLostLines)
{
    EXPECT_EQ(runtime::LostLinesText(3, ENOSPC, "/var/log/x.log"),
              "[Logger] 3 lines were lost on /var/log/x.log: No space left on device (errno 28)");
    EXPECT_EQ(runtime::LostLinesText(1, EPIPE, "standard output"),
              "[Logger] 1 line was lost on standard output: Broken pipe (errno 32)");
    EXPECT_EQ(runtime::LostLinesText(2, 9999, "a\nb"),
              "[Logger] 2 lines were lost on a\\nb: Unknown error 9999 (errno 9999)");
}

TEST_F(LoggerFaults, FilesAreOpenedCloseOnExecAppendingWithMode0640)
{
    struct Case {
        mode_t umask;
        mode_t mode;
    };
    for (const Case& one : {Case{0, 0640}, Case{022, 0640}, Case{077, 0600}}) {
        Reset();
        const std::string path = Path("log" + std::to_string(one.umask));
        const mode_t previous = umask(one.umask);
        const bool opened = ctl.SetLogFile(path);
        umask(previous);
        ASSERT_TRUE(opened);
        struct stat status {};
        ASSERT_EQ(stat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, one.mode);
        const int fd = ctl.stream->Descriptor();
        EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
        EXPECT_EQ(fcntl(fd, F_GETFL) & (O_ACCMODE | O_APPEND | O_NONBLOCK), O_WRONLY | O_APPEND);
    }
}

TEST_F(LoggerFaults, ASymbolicLinkIsFollowed)
{
    ASSERT_EQ(symlink("target", Path("log").c_str()), 0);
    ASSERT_TRUE(ctl.SetLogFile(Path("log")));
    ctl.LogStandalone(LogLevel::INFO, "x");
    EXPECT_EQ(WithoutStamps(FileText(Path("target"))), "[INFO] x\n");
}

TEST_F(LoggerFaults, AFileThatCannotBeOpenedIsReportedAndLinesGoToStandardError)
{
    ASSERT_EQ(mkfifo(Path("fifo").c_str(), 0600), 0);
    ASSERT_EQ(symlink("loop", Path("loop").c_str()), 0);
    const std::string names[] = {Path("absent/log"),     directory.Path(),
                                 Path("fifo"),           Path("loop"),
                                 std::string(5000, 'n'), Path("log") + std::string("\0x", 2)};
    for (const std::string& name : names) {
        const ChildResult result = RunInChild([&] {
            const bool opened = ctl.SetLogFile(name);
            ctl.LogStandalone(LogLevel::INFO, "line");
            return !opened && ctl.logFile == name && ctl.stream != nullptr && !ctl.stream->is_open() ? 0 : 1;
        });
        EXPECT_EQ(result.status, 0) << name;
        const std::string report = "[Logger] Failed to open log file: " + name + "\n";
        ASSERT_EQ(result.err.substr(0, report.size()), report);
        EXPECT_THAT(result.err.substr(report.size()), MatchesRegex(Prefix("INFO") + "line\n"));
        EXPECT_EQ(result.out, "");
    }
}

TEST_F(LoggerFaults, AnEmptyNameIsNotOpenableAndLeavesTheNameSettable)
{
    const ChildResult result = RunInChild([this] {
        const bool refused = !ctl.SetLogFile("") && ctl.logFile.empty();
        ctl.LogStandalone(LogLevel::INFO, "1");
        const bool opened = ctl.SetLogFile(Path("log"));
        ctl.LogStandalone(LogLevel::INFO, "2");
        return refused && opened ? 0 : 1;
    });
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.err,
                MatchesRegex("\\[Logger\\] Failed to open log file: \n" + Prefix("INFO") + "1\n"));
    EXPECT_EQ(WithoutStamps(FileText(Path("log"))), "[INFO] 2\n");
}

TEST_F(LoggerFaults, EveryAttemptToOpenIsReportedAndALaterOneSucceeds)
{
    const std::string name = Path("later/log");
    const ChildResult result = RunInChild([&] {
        ctl.SetLogFile(name);
        ctl.ReloadLogFile();
        ctl.LogStandalone(LogLevel::INFO, "1");
        const bool again = ctl.SetLogFile(name);  // no new attempt
        mkdir(Path("later").c_str(), 0700);
        ctl.ReloadLogFile();
        ctl.LogStandalone(LogLevel::INFO, "2");
        unlink(name.c_str());
        rmdir(Path("later").c_str());
        ctl.ReloadLogFile();
        ctl.LogStandalone(LogLevel::INFO, "3");
        return again ? 1 : 0;
    });
    EXPECT_EQ(result.status, 0);
    const std::string report = "[Logger] Failed to open log file: " + name + "\n";
    EXPECT_EQ(WithoutStamps(result.err), report + report + "[INFO] 1\n" + report + "[INFO] 3\n");
}

TEST_F(LoggerFaults, AFullDiskLosesLinesAndSaysHowMany)
{
    const SmallDisk disk(Path("disk"));
    if (disk.Error() != 0) {
        GTEST_SKIP() << "cannot mount a small tmpfs, errno " << disk.Error();
    }
    const int filler = open(Path("disk/filler").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(filler, 0);
    ASSERT_TRUE(ctl.SetLogFile(Path("disk/log")));
    ctl.LogStandalone(LogLevel::INFO, "before");
    const std::string block(4096, 'f');
    while (write(filler, block.data(), block.size()) > 0) {
    }
    ASSERT_EQ(errno, ENOSPC);
    // The last page of the log has room yet: the line that does not fit into it is cut.
    const std::string big(5000, 'b');
    for (int i = 0; i < 3; ++i) {
        ctl.LogStandalone(LogLevel::INFO, big);
    }
    ASSERT_EQ(ftruncate(filler, 0), 0);
    close(filler);
    ctl.LogStandalone(LogLevel::INFO, "after");
    ctl.LogStandalone(LogLevel::INFO, "and on");
    const std::string text = WithoutStamps(FileText(Path("disk/log")));
    EXPECT_EQ(text.substr(0, 24), "[INFO] before\n[INFO] bbb");
    EXPECT_THAT(text, EndsWith("b\n[WARN] [Logger] 3 lines were lost on " + Path("disk/log") +
                               ": No space left on device (errno 28)\n[INFO] after\n[INFO] and on\n"));
}

TEST_F(LoggerFaults, ACutLineIsEndedBeforeTheNext)
{
    const ChildResult result = RunInChild([this] {
        signal(SIGXFSZ, SIG_IGN);
        ctl.SetLogFile(Path("log"));
        rlimit limit{};
        getrlimit(RLIMIT_FSIZE, &limit);
        const rlimit small{60, limit.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
        ctl.LogStandalone(LogLevel::INFO, std::string(100, 'c'));
        ctl.LogStandalone(LogLevel::INFO, "lost whole");
        // The same file opened anew still ends in the cut line.
        ctl.ReloadLogFile();
        setrlimit(RLIMIT_FSIZE, &limit);
        ctl.LogStandalone(LogLevel::INFO, "after");
        return 0;
    });
    EXPECT_EQ(result.status, 0);
    const std::string text = FileText(Path("log"));
    EXPECT_EQ(text.find('\n'), 60U);
    EXPECT_EQ(WithoutStamps(text.substr(61)), "[WARN] [Logger] 2 lines were lost on " + Path("log") +
                                                  ": File too large (errno 27)\n[INFO] after\n");
}

TEST_F(LoggerFaults, ANewFileAfterACutLineBeginsWithALine)
{
    const ChildResult result = RunInChild([this] {
        signal(SIGXFSZ, SIG_IGN);
        ctl.SetLogFile(Path("log"));
        rlimit limit{};
        getrlimit(RLIMIT_FSIZE, &limit);
        const rlimit small{60, limit.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
        ctl.LogStandalone(LogLevel::INFO, std::string(100, 'c'));
        setrlimit(RLIMIT_FSIZE, &limit);
        rename(Path("log").c_str(), Path("log.1").c_str());
        ctl.ReloadLogFile();
        ctl.LogStandalone(LogLevel::INFO, "fresh");
        return 0;
    });
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(WithoutStamps(FileText(Path("log"))), "[WARN] [Logger] 1 line was lost on " + Path("log") +
                                                        ": File too large (errno 27)\n[INFO] fresh\n");
}

TEST_F(LoggerFaults, AReaderThatGoesAwayKillsNobody)
{
    const ChildResult result = RunInChild([this] {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) {
            return 1;
        }
        const int file = dup(STDOUT_FILENO);
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
        printf("left in the buffer of standard output");
        ctl.LogStandalone(LogLevel::INFO, "1");
        ctl.LogStandalone(LogLevel::INFO, "2");
        sigset_t mask;
        pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        sigset_t pending;
        sigpending(&pending);
        struct sigaction action {};
        sigaction(SIGPIPE, nullptr, &action);
        dup2(file, STDOUT_FILENO);
        ctl.LogStandalone(LogLevel::INFO, "3");
        const bool untouched = sigismember(&mask, SIGPIPE) == 0 && sigismember(&pending, SIGPIPE) == 0 &&
                               action.sa_handler == SIG_DFL;
        return untouched ? 0 : 2;
    });
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(
        WithoutStamps(result.out),
        HasSubstr(
            "[WARN] [Logger] 2 lines were lost on standard output: Broken pipe (errno 32)\n[INFO] 3\n"));
}

TEST_F(LoggerFaults, ALogFifoWhoseReaderGoesAwayKillsNobody)
{
    ASSERT_EQ(mkfifo(Path("fifo").c_str(), 0600), 0);
    const ChildResult result = RunInChild([this] {
        const int reader = open(Path("fifo").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        const bool opened = ctl.SetLogFile(Path("fifo"));
        close(reader);
        ctl.LogStandalone(LogLevel::INFO, "1");
        *ctl.stream << "2";
        return opened && ctl.stream->fail() ? 0 : 1;
    });
    EXPECT_EQ(result.status, 0);
}

TEST_F(LoggerFaults, AFullNonBlockingPipeLosesLinesInsteadOfWaiting)
{
    const ChildResult result = RunInChild([this] {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
            return 1;
        }
        const int file = dup(STDOUT_FILENO);
        dup2(ends[1], STDOUT_FILENO);
        const std::string message(60000, 'm');
        ctl.LogStandalone(LogLevel::INFO, message);
        ctl.LogStandalone(LogLevel::INFO, message);  // cut
        ctl.LogStandalone(LogLevel::INFO, message);
        dup2(file, STDOUT_FILENO);
        ctl.LogStandalone(LogLevel::INFO, "on");
        return 0;
    });
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(WithoutStamps(result.out),
              "[WARN] [Logger] 2 lines were lost on standard output: "
              "Resource temporarily unavailable (errno 11)\n[INFO] on\n");
}

TEST_F(LoggerFaults, AClosedStandardOutputIsSurvived)
{
    const ChildResult result = RunInChild([this] {
        const int file = dup(STDOUT_FILENO);
        close(STDOUT_FILENO);
        ctl.LogStandalone(LogLevel::INFO, "1");
        dup2(file, STDOUT_FILENO);
        ctl.LogStandalone(LogLevel::INFO, "2");
        return 0;
    });
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(
        WithoutStamps(result.out),
        "[WARN] [Logger] 1 line was lost on standard output: Bad file descriptor (errno 9)\n[INFO] 2\n");
}

TEST_F(LoggerFaults, ABufferThatFailsOrThrowsLosesLinesOnly)
{
    BadBuffer sink;
    std::streambuf* const own = std::cout.rdbuf(&sink);
    sink.throws = true;
    EXPECT_NO_THROW(ctl.LogStandalone(LogLevel::INFO, "1"));
    sink.throws = false;
    sink.refuses = true;
    EXPECT_NO_THROW(ctl.LogStandalone(LogLevel::INFO, "2"));
    sink.refuses = false;
    ctl.LogStandalone(LogLevel::INFO, "3");
    std::cout.rdbuf(nullptr);
    std::cout.rdbuf(own);
    EXPECT_EQ(
        WithoutStamps(sink.taken),
        "[WARN] [Logger] 2 lines were lost on standard output: Input/output error (errno 5)\n[INFO] 3\n");
}

TEST_F(LoggerFaults, AStreamWhoseOpenFailedIsGoodOnceItOpens)
{
    const std::string path = directory / "log";
    runtime::LogStream stream(directory / "absent/log");
    EXPECT_FALSE(stream.is_open());
    EXPECT_TRUE(stream.fail());
    stream.Open(path);
    EXPECT_TRUE(stream.is_open());
    EXPECT_TRUE(stream.good());
    stream << "line\n";
    EXPECT_EQ(FileText(path), "line\n");
}
