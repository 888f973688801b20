// SPDX-License-Identifier: MIT

#include "common/log_stream.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include "common/descriptor_write.h"

namespace runtime {
namespace {

/// Opens for appending without ever waiting for the other end of a FIFO; -1 when that is not possible.
int OpenForAppend(const std::string& name)
{
    if (name.find('\0') != std::string::npos) {
        return -1;
    }
    int fd = -1;
    do {
        fd = open(name.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0640);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) {
        return -1;
    }
    // Only the opening must not wait. Later a full pipe holds the writer up, rather than losing lines.
    const int flags = fcntl(fd, F_GETFL);
    if (flags < 0 || fcntl(fd, F_SETFL, flags & ~O_NONBLOCK) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

}  // namespace

std::streamsize DescriptorBuffer::xsputn(const char* text, std::streamsize size)
{
    if (descriptor < 0) {
        return 0;
    }
    SigpipeHold hold(CanRaiseSigpipe(descriptor));
    iovec part{const_cast<char*>(text), static_cast<std::size_t>(size)};  // write(2) only reads it
    const WriteOutcome outcome = WriteAll(descriptor, &part, 1);
    hold.NoteError(outcome.error);
    return static_cast<std::streamsize>(outcome.written);
}

DescriptorBuffer::int_type DescriptorBuffer::overflow(int_type character)
{
    if (traits_type::eq_int_type(character, traits_type::eof())) {
        return traits_type::not_eof(character);
    }
    const char one = traits_type::to_char_type(character);
    return xsputn(&one, 1) == 1 ? character : traits_type::eof();
}

LogStream::LogStream() : std::ostream(nullptr)
{
    rdbuf(&buffer);
}

LogStream::LogStream(const std::string& name) : LogStream()
{
    Open(name);
}

void LogStream::Open(const std::string& name)
{
    close();
    clear();  // what failed before the new file counts no more
    buffer.SetDescriptor(OpenForAppend(name));
    if (is_open()) {
        pipe = CanRaiseSigpipe(Descriptor());
    } else {
        setstate(failbit);
    }
}

LogStream::~LogStream()
{
    close();
}

}  // namespace runtime
