// SPDX-License-Identifier: MIT

#include "tools/tarnix_config/digest.h"

#include <array>
#include <stdexcept>

#include <openssl/evp.h>

namespace tarnix_config {

std::string Sha256(const std::string& text)
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> bytes;
    unsigned size = 0;
    if (EVP_Digest(text.data(), text.size(), bytes.data(), &size, EVP_sha256(), nullptr) != 1) {
        throw std::runtime_error("SHA-256 is not available");
    }
    constexpr const char* DIGITS = "0123456789abcdef";
    std::string digits;
    for (unsigned i = 0; i < size; ++i) {
        digits += DIGITS[bytes[i] >> 4U];
        digits += DIGITS[bytes[i] & 0xFU];
    }
    return digits;
}

}  // namespace tarnix_config
