// SPDX-License-Identifier: MIT

#ifndef COMMON_PSEUDO_FILE_H
#define COMMON_PSEUDO_FILE_H

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <string_view>

/// Bounded reading of procfs and sysfs for the probes. Not exported.
namespace probe {

/// What every absolute path of the probes is put behind; empty in production.
/// Thread rule: a test sets it while no other thread probes.
const char* FileRoot() noexcept;

/// Points the probes at another tree. `root` is kept, not copied; "" restores the real one.
void SetFileRoot(const char* root) noexcept;

/// A path put together on the stack, behind FileRoot(). One that would not fit, or holds a NUL, becomes the
/// empty path, which no system call takes.
class PathText {
public:
    PathText() noexcept;
    PathText& Add(std::string_view part) noexcept;
    PathText& Add(unsigned long number) noexcept;
    PathText& Add(int number) noexcept;
    const char* CStr() const noexcept { return text; }

private:
    static constexpr size_t CAPACITY = 1024;

    char text[CAPACITY];
    size_t length = 0;
    bool bad = false;
};

/// open(2) with `flags`, close-on-exec, never waiting for the other end of a FIFO or a device, repeated when
/// it is interrupted. The descriptor, which is the caller's, or -1.
int OpenDescriptor(const char* path, int flags) noexcept;

/// A descriptor open for reading: close-on-exec, and never waiting for the other end of a FIFO or a device.
class PseudoFile {
public:
    explicit PseudoFile(const char* path) noexcept;
    ~PseudoFile();
    PseudoFile(const PseudoFile&) = delete;
    PseudoFile& operator=(const PseudoFile&) = delete;

    bool IsOpen() const noexcept { return fd >= 0; }

    /// Bytes read, 0 at the end, -1 on an error. Repeats an interrupted call.
    ssize_t Read(char* buffer, size_t size) noexcept;

private:
    int fd;
};

/// One line without its line break, or a stretch of a line that is longer than the reader hands out at once.
struct LinePiece {
    std::string_view text;
    bool startsLine = true;
};

/// Cuts a file or a text into pieces of at most `maxPiece` bytes, as repeated reads into a buffer of that
/// size would. Allocates nothing. A piece stays valid until the next call of Next.
class LineReader {
public:
    static constexpr size_t BUFFER_SIZE = 4096;

    /// Stops after about `maxBytes` of the file. `pieceLimit` is below BUFFER_SIZE.
    LineReader(PseudoFile& source, size_t pieceLimit, size_t maxBytes) noexcept
        : file(&source), maxPiece(pieceLimit), budget(maxBytes)
    {
    }
    LineReader(std::string_view text, size_t pieceLimit) noexcept : window(text), maxPiece(pieceLimit) {}
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    /// False at the end, after an error, or when the budget is used up.
    bool Next(LinePiece& piece) noexcept;

    /// True once a read has failed.
    bool Failed() const noexcept { return failed; }

private:
    bool Refill() noexcept;

    PseudoFile* file = nullptr;
    std::string_view window;
    size_t maxPiece;
    size_t budget = 0;
    bool startsLine = true;
    bool failed = false;
    char buffer[BUFFER_SIZE];
};

/// The blank, the tab, the line break and its kin, whatever the locale.
inline bool IsSpace(char c) noexcept
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/// The first word of the file, delimited by white space. False, with `word` untouched, when it cannot be
/// opened or read, when there is no word within the first 64 KiB or it goes on past them, and when memory
/// runs out.
bool ReadFirstWord(const char* path, std::string& word) noexcept;

}  // namespace probe

#endif  // COMMON_PSEUDO_FILE_H
