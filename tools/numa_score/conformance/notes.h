// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_CONFORMANCE_NOTES_H
#define TOOLS_NUMA_SCORE_CONFORMANCE_NOTES_H

#include <cstddef>

#include <sys/types.h>

#include <optional>
#include <string>

#include "tools/numa_score/conformance/verdict.h"

namespace conformance {

/// What the processes that examine a rule leave behind for the one that started them, in a file that all
/// hold: where they were, what they touched when they died, the verdict. The notes outlive them. They are no
/// defence against malice: the plug-in is in the same process and could write here what it likes.
class Notes {
public:
    static constexpr std::size_t PLACE_BYTES = 512;     ///< from the beginning
    static constexpr std::size_t TOUCHED_BYTES = 128;   ///< behind that
    static constexpr std::size_t VERDICT_BYTES = 8192;  ///< behind that

    /// `descriptor` is a file open for reading and writing; it stays open.
    explicit Notes(int descriptor) : fd(descriptor) {}

    /// Before a call: what the plug-in is doing from now on, for example `Run of "x"`.
    void At(const std::string& place) const;

    /// For signal handlers too: what was touched. `text` is a constant.
    void Touched(const char* text) const noexcept;
    /// With the id of the process that writes: copies of it that a plug-in made give no verdict.
    void Write(const Verdict& verdict) const;

    std::string Place() const;
    std::string TouchedText() const;
    /// The verdict of the process `writer`; nothing when it left none.
    std::optional<Verdict> Read(pid_t writer) const;

private:
    void Put(std::size_t offset, std::size_t room, const std::string& text) const;
    std::string Get(std::size_t offset, std::size_t room) const;

    int fd;
};

}  // namespace conformance

#endif  // TOOLS_NUMA_SCORE_CONFORMANCE_NOTES_H
