// SPDX-License-Identifier: MIT

#ifndef TOOLS_CLI_OUTPUT_H
#define TOOLS_CLI_OUTPUT_H

#include <cstddef>

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace cli {

/// Where results go: a descriptor behind a buffer. Text is collected in Buffer and handed on by Commit. The
/// first failure is kept; everything after it is dropped.
class Output {
public:
    enum class State {
        GOOD,
        READER_GONE,  ///< the reader of a pipe or socket has closed it: an end, not a failure
        FAILED,       ///< see ErrorNumber
    };

    enum class Flush {
        EACH_COMMIT,  ///< somebody watches
        WHEN_FULL,    ///< BUFFER bytes at a time
    };

    static constexpr std::size_t BUFFER = 65536;

    /// An asked-for end of the program, looked at while a reader is waited for.
    using StopCheck = std::function<bool()>;

    /// Writes to `descriptor`, which is closed at the end if it is `ownDescriptor`.
    Output(int descriptor, bool ownDescriptor, Flush flushing, StopCheck stopCheck);
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    /// Closes without writing what is still in the buffer; call Close to learn of failures.
    ~Output();

    /// Text to come, to be appended to.
    std::string& Buffer() { return buffer; }

    /// A record is complete.
    void Commit();

    /// Writes everything out.
    void WriteOut();

    /// WriteOut, and what the file system reports at the end (a full disk may show only then). Afterwards
    /// nothing more can be written.
    void Close();

    State GetState() const { return state; }
    int ErrorNumber() const { return errorNumber; }

private:
    void Fail(int number);
    bool AwaitRoom();

    int fd;
    bool owned;
    bool regular;
    Flush flush;
    StopCheck stopRequested;
    std::string buffer;
    State state = State::GOOD;
    int errorNumber = 0;
};

/// Whoever starts a program may have closed its standard descriptors. What is opened next would take their
/// place and be written to; so something takes it that fails on use. To be called first.
void OccupyStandardDescriptors();

/// Says on standard error that memory has run out, "PROGRAM: out of memory", and returns `status`. Needs none
/// itself. Waits no longer than a second for a reader that takes nothing, and no longer than to the next
/// signal.
int EndOutOfMemory(std::string_view program, int status) noexcept;

/// A file that is made, or emptied, for writing. -1 with errno when that fails.
int OpenOutputFile(const std::string& path);

/// True when `output` is the file that `recording` is read from ("-" is standard input).
bool IsSameFile(const std::string& recording, const std::string& output);

}  // namespace cli

#endif  // TOOLS_CLI_OUTPUT_H
