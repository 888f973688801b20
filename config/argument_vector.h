// SPDX-License-Identifier: MIT

#ifndef CONFIG_ARGUMENT_VECTOR_H
#define CONFIG_ARGUMENT_VECTOR_H

#include <string>
#include <utility>

/// The owned argument vectors that command strings become.
namespace argument_vector {

/// Cuts at runs of white space; quotes mean nothing. An array of word count + 1 pointers to NUL-terminated
/// copies, the last one null; both are allocated with new[] and released by Free.
std::pair<int, char**> Split(const std::string& text);

/// Releases the first `argc` strings, where there are any, and the array. Null pointers are left out.
void Free(int argc, char** argv) noexcept;

}  // namespace argument_vector

#endif  // CONFIG_ARGUMENT_VECTOR_H
