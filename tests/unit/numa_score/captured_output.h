// SPDX-License-Identifier: MIT

#ifndef TESTS_UNIT_NUMA_SCORE_CAPTURED_OUTPUT_H
#define TESTS_UNIT_NUMA_SCORE_CAPTURED_OUTPUT_H

#include <sys/mman.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

#include "tools/cli/output.h"

/// An Output onto memory, and what has been written to it.
class CapturedOutput {
public:
    explicit CapturedOutput(cli::Output::Flush flush = cli::Output::Flush::EACH_COMMIT)
        : fd(memfd_create("captured", MFD_CLOEXEC)), output(fd, false, flush, nullptr)
    {
        if (fd < 0) {
            throw std::runtime_error("memfd_create failed");
        }
    }
    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;
    ~CapturedOutput() { close(fd); }

    cli::Output& Get() { return output; }

    /// All that has left the buffer so far.
    std::string Text() const
    {
        std::string text;
        char piece[4096];
        ssize_t length = 0;
        while ((length = pread(fd, piece, sizeof(piece), static_cast<off_t>(text.size()))) > 0) {
            text.append(piece, static_cast<std::size_t>(length));
        }
        return text;
    }

private:
    int fd;
    cli::Output output;
};

#endif  // TESTS_UNIT_NUMA_SCORE_CAPTURED_OUTPUT_H
