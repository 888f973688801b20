// SPDX-License-Identifier: MIT

#ifndef COMMON_LOG_STREAM_H
#define COMMON_LOG_STREAM_H

#include <unistd.h>

#include <ostream>
#include <streambuf>
#include <string>

namespace runtime {

/// Streambuf over a file descriptor without a buffer: what is put goes straight to write(2).
class DescriptorBuffer : public std::streambuf {
public:
    /// Borrows `fd`, which may be -1 (every output then fails).
    void SetDescriptor(int fd) { descriptor = fd; }
    int Descriptor() const { return descriptor; }

protected:
    int_type overflow(int_type character) override;
    std::streamsize xsputn(const char* text, std::streamsize size) override;

private:
    int descriptor = -1;
};

/// The output file stream of the logger. Appends, is close-on-exec and creates the file with mode 0640 (less
/// the umask). It holds no buffer, so a line written to its descriptor and one written through `<<` keep
/// their order.
///
/// A symbolic link is followed. A FIFO that nobody reads counts as not openable, since waiting for a reader
/// could take for ever. Owns its descriptor; not thread-safe.
class LogStream : public std::ostream {
public:
    /// Not open yet.
    LogStream();
    explicit LogStream(const std::string& name);
    ~LogStream() override;

    LogStream(const LogStream&) = delete;
    LogStream& operator=(const LogStream&) = delete;

    /// Opens `name` in the place of what is open; when that fails, is_open() is false and failbit is set.
    /// Allocates nothing.
    void Open(const std::string& name);

    // Spelled as in std::ofstream, whose place this class takes.
    bool is_open() const { return buffer.Descriptor() >= 0; }
    /// Inline, so that programs that link the library need no further symbol of it.
    void close()
    {
        if (is_open()) {
            ::close(Descriptor());
            buffer.SetDescriptor(-1);
        }
    }

    /// The descriptor, -1 when not open. Stays the stream's own.
    int Descriptor() const { return buffer.Descriptor(); }

    /// Whether a write can raise SIGPIPE: the destination was a pipe or a socket when it was opened.
    bool IsPipe() const { return pipe; }

private:
    DescriptorBuffer buffer;
    bool pipe = false;
};

}  // namespace runtime

#endif  // COMMON_LOG_STREAM_H
