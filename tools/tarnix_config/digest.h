// SPDX-License-Identifier: MIT

#ifndef TOOLS_TARNIX_CONFIG_DIGEST_H
#define TOOLS_TARNIX_CONFIG_DIGEST_H

#include <string>

namespace tarnix_config {

/// SHA-256 (FIPS 180-4) in small hexadecimal digits. std::runtime_error when the cryptographic library
/// refuses.
std::string Sha256(const std::string& text);

}  // namespace tarnix_config

#endif  // TOOLS_TARNIX_CONFIG_DIGEST_H
