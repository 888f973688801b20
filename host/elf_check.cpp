// SPDX-License-Identifier: MIT

#include "host/elf_check.h"

#include <cstring>

#include <elf.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <limits>

namespace host {
namespace {

template <typename Record>
bool ReadAt(int descriptor, std::uint64_t offset, Record& record)
{
    if (offset > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) {
        return false;
    }
    return pread(descriptor, &record, sizeof record, static_cast<off_t>(offset)) ==
           static_cast<ssize_t>(sizeof record);
}

std::uint64_t Sum(std::uint64_t left, std::uint64_t right)
{
    const std::uint64_t sum = left + right;
    return sum < left ? std::numeric_limits<std::uint64_t>::max() : sum;
}

}  // namespace

ElfShortfall FindElfShortfall(int descriptor)
{
    struct stat status {};
    Elf64_Ehdr header{};
    if (fstat(descriptor, &status) != 0 || !ReadAt(descriptor, 0, header) ||
        std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 || header.e_ident[EI_CLASS] != ELFCLASS64 ||
        header.e_phentsize != sizeof(Elf64_Phdr)) {
        return {};
    }
    const auto size = static_cast<std::uint64_t>(status.st_size);
    const std::uint64_t tableSize = std::uint64_t{header.e_phnum} * sizeof(Elf64_Phdr);
    std::uint64_t needed = Sum(header.e_phoff, tableSize);
    if (needed <= size) {
        for (std::uint64_t i = 0; i < header.e_phnum; ++i) {
            Elf64_Phdr segment{};
            if (ReadAt(descriptor, header.e_phoff + i * sizeof segment, segment) &&
                segment.p_type == PT_LOAD) {
                needed = std::max(needed, Sum(segment.p_offset, segment.p_filesz));
            }
        }
    }
    return needed > size ? ElfShortfall{needed, size} : ElfShortfall{};
}

}  // namespace host
