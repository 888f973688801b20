// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_OPTION_PAGES_H
#define TESTS_SUPPORT_OPTION_PAGES_H

#include <string>

/// What the manual pages say about single options: lists in the mdoc language, made from the registry.
namespace support {

/// OPTIONS of tarnix(8): what its command line takes when it runs alone.
std::string ToolOptionsList();

/// OPTIONS of tnstat(1).
std::string ViewerOptionsList();

/// KEYS of tarnix.yaml(5).
std::string FileKeysList();

}  // namespace support

#endif  // TESTS_SUPPORT_OPTION_PAGES_H
