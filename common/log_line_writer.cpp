// SPDX-License-Identifier: MIT

#include "common/log_line_writer.h"

#include <cxxabi.h>
#include <errno.h>
#include <locale.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <charconv>
#include <ext/stdio_filebuf.h>
#include <ext/stdio_sync_filebuf.h>
#include <iostream>
#include <typeinfo>

#include "common/descriptor_write.h"
#include "common/escape_control.h"

namespace runtime {
namespace {

/// Lines up to this size are put together on the stack; longer ones go out as the parts they consist of.
constexpr std::size_t STACK_LINE = 2048;

constexpr std::size_t LONGEST_LEVEL = 32;

char* Put(char* end, std::string_view text)
{
    memcpy(end, text.data(), text.size());
    return end + text.size();
}

/// At most 84 + 32 + 11 bytes and the punctuation.
char* PutHead(char* end, const LineHead& head)
{
    constexpr std::size_t LONGEST_NUMBER = 12;
    end = Put(end, "[");
    end = Put(end, head.stamp);
    end = Put(end, "] [");
    end = std::to_chars(end, end + LONGEST_NUMBER, head.tid).ptr;
    end = Put(end, "] [");
    end = Put(end, head.levelName.substr(0, LONGEST_LEVEL));
    return Put(end, "] ");
}

iovec PartOf(std::string_view text)
{
    return {const_cast<char*>(text.data()), text.size()};  // write(2) only reads it
}

WriteOutcome WriteParts(const LogTarget& target, iovec* parts, int count)
{
    if (!target.pipe) {
        return WriteAll(target.fd, parts, count);
    }
    SigpipeHold hold(true);
    const WriteOutcome outcome = WriteAll(target.fd, parts, count);
    hold.NoteError(outcome.error);
    return outcome;
}

LogTarget StandardTarget(LogPlace place, int fd, const std::ostream& stream, FILE* file)
{
    LogTarget target{place, fd, CanRaiseSigpipe(fd), nullptr};
    std::streambuf* const buffer = stream.rdbuf();
    if (buffer == nullptr) {
        return target;
    }
    const std::type_info& type = typeid(*buffer);
    if (type == typeid(__gnu_cxx::stdio_sync_filebuf<char>)) {
        // The usual state: C and C++ share the buffer of `file`.
        SigpipeHold hold(target.pipe);
        if (fflush(file) != 0) {
            hold.NoteError(errno);
        }
    } else if (type != typeid(__gnu_cxx::stdio_filebuf<char>)) {
        target.redirection = buffer;
    }
    // After sync_with_stdio(false) the stream has a buffer of its own, which other threads may be filling
    // without a lock: left alone.
    return target;
}

/// A buffer of the program's own; it may throw whatever it likes.
int WriteToBuffer(std::streambuf& buffer, std::string_view head, std::string_view text)
{
    try {
        const std::string line = std::string(head).append(text).append(1, '\n');
        const auto size = static_cast<std::streamsize>(line.size());
        return buffer.sputn(line.data(), size) == size && buffer.pubsync() == 0 ? 0 : EIO;
    } catch (const abi::__forced_unwind&) {
        throw;  // the thread is being cancelled
    } catch (...) {
        return EIO;
    }
}

/// The error's description in English, whatever the process's locale is.
std::string ErrorText(int error)
{
    const locale_t classic = newlocale(LC_ALL_MASK, "C", nullptr);
    if (classic == nullptr) {
        return "error";
    }
    std::string text = strerror_l(error, classic);
    freelocale(classic);
    return text;
}

}  // namespace

LogTarget StandardOutputTarget()
{
    return StandardTarget(LogPlace::STANDARD_OUTPUT, STDOUT_FILENO, std::cout, stdout);
}

LogTarget StandardErrorTarget()
{
    return StandardTarget(LogPlace::STANDARD_ERROR, STDERR_FILENO, std::cerr, stderr);
}

int WriteOpenFailure(const LogTarget& target, std::string_view name)
{
    constexpr std::string_view FAILURE = "[Logger] Failed to open log file: ";
    if (target.redirection != nullptr) {
        return WriteToBuffer(*target.redirection, FAILURE, name);
    }
    iovec parts[] = {PartOf(FAILURE), PartOf(name), PartOf("\n")};
    return WriteParts(target, parts, 3).error;
}

bool LogLineWriter::IsTorn(int fd) const
{
    struct stat status {};
    return fstat(fd, &status) == 0 && status.st_dev == tornDevice && status.st_ino == tornInode;
}

void LogLineWriter::RememberTorn(int fd)
{
    struct stat status {};
    if (fstat(fd, &status) == 0) {
        torn = true;
        tornDevice = status.st_dev;
        tornInode = status.st_ino;
    }
}

int LogLineWriter::Write(const LogTarget& target, const LineHead& head, std::string_view message)
{
    char line[STACK_LINE];
    const bool endTornLine = torn && target.redirection == nullptr && IsTorn(target.fd);
    char* end = endTornLine ? Put(line, "\n") : line;
    end = PutHead(end, head);
    if (target.redirection != nullptr) {
        return WriteToBuffer(*target.redirection, {line, static_cast<std::size_t>(end - line)}, message);
    }

    WriteOutcome outcome;
    if (message.size() < static_cast<std::size_t>(line + STACK_LINE - end)) {
        end = Put(end, message);
        *end++ = '\n';
        iovec whole = PartOf({line, static_cast<std::size_t>(end - line)});
        outcome = WriteParts(target, &whole, 1);
    } else {
        iovec parts[] = {PartOf({line, static_cast<std::size_t>(end - line)}), PartOf(message), PartOf("\n")};
        outcome = WriteParts(target, parts, 3);
    }

    if (endTornLine && outcome.written > 0) {
        torn = false;
    }
    if (outcome.error != 0 && outcome.written > (endTornLine ? 1U : 0U)) {
        RememberTorn(target.fd);
    }
    return outcome.error;
}

void LogLineWriter::CountLost(LogPlace place, int error)
{
    ++lost;
    lostPlace = place;
    lostError = error;
}

std::string LostLinesText(std::uint64_t lines, int error, std::string_view destination)
{
    return "[Logger] " + std::to_string(lines) +
           (lines == 1 ? " line was lost on " : " lines were lost on ") + EscapeControl(destination) + ": " +
           ErrorText(error) + " (errno " + std::to_string(error) + ")";
}

}  // namespace runtime
