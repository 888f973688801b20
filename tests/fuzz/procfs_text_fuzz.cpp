// SPDX-License-Identifier: MIT
//
// The kernel's other texts. The first byte chooses the parser, the rest is the text: as it comes from memory
// against a plain second form, and for some inputs through the public probe and a file as well.

#include <stdlib.h>

#include <cstddef>
#include <cstdint>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/probe_parsers.h"
#include "common/probes.h"
#include "common/pseudo_file.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/kernel_counts_checks.h"
#include "tests/fuzz/memory_file.h"
#include "tests/fuzz/require.h"

namespace {

using fuzz::Require;

constexpr std::string_view SPACES = " \t\n\v\f\r";
constexpr int NODES = 4;
constexpr unsigned EVERY = 64;

/// A tree in which every file that the probes read is a link to the one file in memory.
class ProbeRoot {
public:
    ProbeRoot()
    {
        std::string name = std::filesystem::temp_directory_path() / "procfs_text_fuzz_XXXXXX";
        Require(mkdtemp(name.data()) != nullptr, "a directory for the probes can be made");
        root = name;
        for (const char* path :
             {"proc/1/comm", "proc/1/status", "proc/1/cmdline", "proc/1/numa_maps", "proc/cpuinfo",
              "proc/version", "proc/sys/kernel/numa_balancing", "sys/devices/system/cpu/smt/active",
              "sys/devices/system/cpu/cpu1/topology/physical_package_id",
              "sys/devices/system/node/node1/meminfo", "sys/class/net/eth0/device/numa_node"}) {
            const std::filesystem::path link = root / path;
            std::filesystem::create_directories(link.parent_path());
            std::filesystem::create_symlink(file.Path(), link);
        }
        probe::SetFileRoot(root.c_str());
    }
    ProbeRoot(const ProbeRoot&) = delete;
    ProbeRoot& operator=(const ProbeRoot&) = delete;
    ~ProbeRoot()
    {
        probe::SetFileRoot("");
        std::filesystem::remove_all(root);
    }

    void Set(std::string_view text) { file.Set(text); }

private:
    fuzz::MemoryFile file;
    std::filesystem::path root;
};

void PutInFile(std::string_view text)
{
    static ProbeRoot root;
    root.Set(text);
}

/// The pieces in which a line of any length is looked at.
struct Piece {
    std::string_view text;
    bool startsLine = true;
};

std::vector<Piece> Pieces(std::string_view text, std::size_t most)
{
    std::vector<Piece> pieces;
    bool startsLine = true;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const bool cut = end > most;
        pieces.push_back({text.substr(0, std::min(end, most)), startsLine});
        text.remove_prefix(std::min(cut ? most : end + 1, text.size()));
        startsLine = !cut;
    }
    return pieces;
}

std::string_view WithoutBlanks(std::string_view text)
{
    return text.substr(std::min(text.find_first_not_of(" \t"), text.size()));
}

std::string_view FirstWord(std::string_view text)
{
    return text.substr(0, text.find_first_of(SPACES));
}

/// The whole of `word` as a number in base 10 or 16, up to `max`.
std::optional<std::uint64_t> PlainNumber(std::string_view word, unsigned base, std::uint64_t max)
{
    constexpr std::string_view DIGITS = "0123456789abcdef";
    std::uint64_t value = 0;
    for (const char c : word) {
        const char lower = c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c;
        const std::size_t digit = DIGITS.substr(0, base).find(lower);
        if (digit == std::string_view::npos || __builtin_mul_overflow(value, std::uint64_t{base}, &value) ||
            __builtin_add_overflow(value, std::uint64_t{digit}, &value) || value > max) {
            return std::nullopt;
        }
    }
    return word.empty() ? std::nullopt : std::optional<std::uint64_t>(value);
}

void CheckMemInfo(std::string_view text)
{
    std::uint64_t expected = 0;
    for (const Piece& piece : Pieces(text, probe::MEMINFO_LINE)) {
        const std::size_t colon = piece.text.find(':');
        if (colon != std::string_view::npos &&
            piece.text.substr(0, colon).find("MemFree") != std::string_view::npos) {
            expected = PlainNumber(FirstWord(WithoutBlanks(piece.text.substr(colon + 1))), 10, UINT64_MAX)
                           .value_or(0);
            break;
        }
    }
    probe::LineReader lines(text, probe::MEMINFO_LINE);
    Require(probe::ParseMemFree(lines) == expected, "the plain parser agrees about free memory");
    if (fuzz::Thorough(text, EVERY)) {
        PutInFile(text);
        Require(GetNumaFreeMem(1) == expected, "the file gives what its text gives");
    }
}

std::string_view Figure(std::string_view line)
{
    const std::size_t colon = line.find(':');
    return colon == std::string_view::npos ? std::string_view()
                                           : line.substr(std::min(colon + 2, line.size()));
}

std::uint8_t PlainCpuType(std::string_view text)
{
    constexpr std::uint8_t UNKNOWN = 4;
    std::uint64_t implementer = 0;
    std::uint64_t part = 0;
    int taken = 0;
    const auto holds = [](std::string_view line, std::string_view key) {
        return line.find(key) != std::string_view::npos;
    };
    for (const Piece& piece : Pieces(text, probe::CPUINFO_LINE)) {
        const std::string_view figure = Figure(piece.text);
        const bool isImplementer = holds(piece.text, "CPU implementer");
        if (!isImplementer && !holds(piece.text, "CPU part")) {
            if (holds(piece.text, "cpu family") ||
                (holds(piece.text, "model") && !figure.empty() && figure[0] >= '0' && figure[0] <= '9')) {
                return UNKNOWN;
            }
            continue;
        }
        std::string_view word = FirstWord(WithoutBlanks(figure));
        word.remove_prefix(word.substr(0, 2) == "0x" || word.substr(0, 2) == "0X" ? 2 : 0);
        const auto value = PlainNumber(word, 16, UINT32_MAX);
        if (!value) {
            return UNKNOWN;
        }
        (isImplementer ? implementer : part) = *value;
        if (++taken == 2) {
            break;
        }
    }
    if (taken < 2 || implementer != 0x48) {
        return UNKNOWN;
    }
    return part == 0xd01 ? 0 : part == 0xd02 ? 1 : part == 0xd06 ? 2 : UNKNOWN;
}

void CheckCpuInfo(std::string_view text)
{
    const std::uint8_t expected = PlainCpuType(text);
    probe::LineReader lines(text, probe::CPUINFO_LINE);
    Require(probe::ParseCpuType(lines) == expected, "the plain parser agrees about the processor");
    if (fuzz::Thorough(text, EVERY)) {
        PutInFile(text);
        Require(ProcfsGetCpuType() == expected, "the file gives what its text gives");
    }
}

void CheckStatus(std::string_view text)
{
    ProcStatus expected;
    expected.name = "kept";
    expected.ppid = 4711;
    bool nameSeen = false;
    bool parentSeen = false;
    for (const Piece& piece : Pieces(text, probe::STATUS_LINE)) {
        if (nameSeen && parentSeen) {
            break;
        }
        if (piece.startsLine && !nameSeen && piece.text.substr(0, 5) == "Name:") {
            expected.name = WithoutBlanks(piece.text.substr(5));
            nameSeen = true;
        } else if (piece.startsLine && !parentSeen && piece.text.substr(0, 5) == "PPid:") {
            const std::string_view word = WithoutBlanks(piece.text.substr(5));
            const bool leadingZero = word.size() > 1 && word[0] == '0';
            expected.ppid = static_cast<std::uint32_t>(
                PlainNumber(leadingZero ? std::string_view() : word, 10, UINT32_MAX).value_or(4711));
            parentSeen = true;
        }
    }
    ProcStatus status;
    status.name = "kept";
    status.ppid = 4711;
    probe::LineReader lines(text, probe::STATUS_LINE);
    probe::ParseProcStatus(lines, status);
    Require(status.name == expected.name && status.ppid == expected.ppid,
            "the plain parser agrees about name and parent");
    if (fuzz::Thorough(text, EVERY)) {
        PutInFile(text);
        ProcStatus read;
        read.name = "kept";
        read.ppid = 4711;
        Require(GetProcStatus(1, read) && read.name == expected.name && read.ppid == expected.ppid,
                "the file gives what its text gives");
    }
}

std::string PlainVersion(std::string_view line)
{
    constexpr std::string_view MARK = "Linux version ";
    const std::size_t mark = line.find(MARK);
    if (mark == std::string_view::npos) {
        return "";
    }
    std::string version;
    int dots = 0;
    std::string_view rest = line.substr(mark + MARK.size());
    if (rest.find(' ') == std::string_view::npos) {
        return "";
    }
    for (const char c : rest.substr(0, rest.find(' '))) {
        dots += c == '.' ? 1 : 0;
        if (dots == 2) {
            break;
        }
        version += c;
    }
    return dots == 0 ? "" : version;
}

void CheckVersion(std::string_view text)
{
    const std::string expected = PlainVersion(text);
    Require(probe::ParseKernelVersion(text) == expected, "the plain parser agrees about the kernel");
    if (fuzz::Thorough(text, EVERY)) {
        PutInFile(text);
        const std::vector<Piece> pieces = Pieces(text.substr(0, 4000), 4000);
        Require(GetKernelVersion() == (pieces.empty() ? "" : PlainVersion(pieces.front().text)),
                "the first line of the file counts");
    }
}

std::vector<unsigned> PlainPages(std::string_view text)
{
    std::vector<unsigned> pages(NODES);
    while (!text.empty()) {
        const std::size_t end = std::min(text.find_first_of(SPACES), text.size());
        const std::string_view word = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        const std::size_t equals = word.find('=');
        if (word.size() > 32 || word.empty() || word[0] != 'N' || equals == std::string_view::npos) {
            continue;
        }
        const auto node = PlainNumber(word.substr(1, equals - 1), 10, UINT64_MAX);
        const auto count = PlainNumber(word.substr(equals + 1), 10, UINT64_MAX);
        if (node && count && *node < pages.size()) {
            const std::uint64_t room = std::numeric_limits<unsigned>::max() - pages[*node];
            pages[*node] += static_cast<unsigned>(std::min(room, *count));
        }
    }
    return pages;
}

/// The first byte of the text is where it is cut in two.
void CheckNumaMaps(std::string_view input)
{
    const std::size_t cut = input.empty() ? 0 : static_cast<unsigned char>(input[0]);
    const std::string_view text = input.substr(std::min<std::size_t>(1, input.size()));
    const std::vector<unsigned> expected = PlainPages(text);
    std::vector<unsigned> pages(NODES);
    probe::NodePageCounter counter(pages);
    counter.Feed(text.substr(0, cut));
    counter.Feed(text.substr(std::min(cut, text.size())));
    counter.Finish();
    Require(pages == expected, "the plain parser agrees about pages, in whatever portions they come");
    if (fuzz::Thorough(text, EVERY)) {
        PutInFile(text);
        std::vector<unsigned> read;
        Require(ProcessGetMemDistribution(1, read, NODES) && read == expected,
                "the file gives what its text gives");
    }
}

void CheckCommandLine(std::string_view text)
{
    std::string joined(text);
    probe::NulsToBlanks(joined.data(), joined.size());
    std::string expected(text);
    std::replace(expected.begin(), expected.end(), '\0', ' ');
    Require(joined == expected, "each NUL becomes a blank, and nothing else");
    if (fuzz::Thorough(text, EVERY)) {
        PutInFile(text);
        if (!text.empty() && text.back() == '\0') {
            expected.pop_back();
        }
        Require(GetCmdline(1) == expected, "arguments are joined, without the last NUL");
        const std::vector<Piece> pieces = Pieces(text.substr(0, 1023), 1023);
        Require(ProcfsGetComm(1) == (pieces.empty() ? "" : pieces.front().text), "a name is the first line");
    }
}

/// What a file of one word says.
void CheckWord(std::string_view text)
{
    PutInFile(text);
    const std::size_t begin = std::min(text.find_first_not_of(SPACES), text.size());
    const std::string_view word = FirstWord(text.substr(begin));
    Require(IsSmtEnable() == (word == "1") && ProcfsIsNbEnable() == (word == "1"), "a switch is on with 1");
    const bool leadingZero = word.size() > 1 && word[0] == '0';
    const auto package = PlainNumber(leadingZero ? std::string_view() : word, 10, INT32_MAX);
    Require(GetCpuPhyPacketId(1) == (package ? static_cast<int>(*package) : -1), "a package is a number");
    const bool negative = !word.empty() && word[0] == '-';
    const auto node =
        PlainNumber(word.substr(negative ? 1 : 0), 10, negative ? std::uint64_t{1} << 31 : INT32_MAX);
    const std::int64_t expected =
        node ? (negative ? -static_cast<std::int64_t>(*node) : static_cast<std::int64_t>(*node)) : -1;
    Require(GetNetIntfNode("eth0") == expected, "a node is a number, perhaps negative");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view input = fuzz::TextOf(data, size);
    if (input.empty()) {
        return 0;
    }
    const std::string_view text = input.substr(1);
    switch (input[0]) {
        case 'm':
            CheckMemInfo(text);
            break;
        case 'c':
            CheckCpuInfo(text);
            break;
        case 's':
            CheckStatus(text);
            break;
        case 'v':
            CheckVersion(text);
            break;
        case 'n':
            CheckNumaMaps(text);
            break;
        case 'a':
            CheckCommandLine(text);
            break;
        case 'w':
            CheckWord(text);
            break;
        case 'k':
            fuzz::CheckNodeCounts(text);
            break;
        case 'h':
            fuzz::CheckHintCounts(text);
            break;
        default:
            CheckStatus(input);
            CheckNumaMaps(input);
            break;
    }
    return 0;
}
