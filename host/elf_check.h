// SPDX-License-Identifier: MIT

#ifndef HOST_ELF_CHECK_H
#define HOST_ELF_CHECK_H

#include <cstdint>

namespace host {

/// What the program headers of an ELF file promise and the file does not hold.
struct ElfShortfall {
    std::uint64_t needed = 0;  ///< size that the file must have at least; 0 when nothing is missing
    std::uint64_t size = 0;    ///< size that it has
};

/// Looks whether the 64-bit ELF file behind `descriptor` was cut short. The dynamic linker does not: it maps
/// such a file, and the process dies of SIGBUS at the first touch of what is missing. Files of any other kind
/// give no shortfall; the linker has words for these. Reads the header and the program headers only.
ElfShortfall FindElfShortfall(int descriptor);

}  // namespace host

#endif  // HOST_ELF_CHECK_H
