// SPDX-License-Identifier: MIT

#ifndef CONFIG_BUILD_INFO_H
#define CONFIG_BUILD_INFO_H

/// What the build knows about itself.
namespace build_info {

extern const char* const VERSION;        ///< of the project
extern const char* const REVISION;       ///< of the source; "unknown" when neither git nor the archive tells
extern const char* const DOCUMENTATION;  ///< where the framework's documentation is, for help texts

}  // namespace build_info

#endif  // CONFIG_BUILD_INFO_H
