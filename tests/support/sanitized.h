// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_SANITIZED_H
#define TESTS_SUPPORT_SANITIZED_H

/// 1 when the tests are compiled with AddressSanitizer or ThreadSanitizer, otherwise 0: memory is the
/// sanitizer's then, and its shadow takes part in the limits of address space.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TESTS_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define TESTS_SANITIZED 1
#endif
#endif
#ifndef TESTS_SANITIZED
#define TESTS_SANITIZED 0
#endif

namespace support {

inline constexpr bool SANITIZED = TESTS_SANITIZED == 1;

}  // namespace support

#endif  // TESTS_SUPPORT_SANITIZED_H
