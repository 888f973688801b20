// SPDX-License-Identifier: MIT

#ifndef TOOLS_TNSTAT_VERSION_H
#define TOOLS_TNSTAT_VERSION_H

#include <string>

namespace tnstat {

/// Of this program, which is built with the library.
std::string ProgramVersion();

/// Source revision of the library that is loaded, as its version text tells it.
std::string SourceRevision();

/// What --version prints: "tnstat" and the version, then the library's version text, with line breaks.
std::string VersionText();

}  // namespace tnstat

#endif  // TOOLS_TNSTAT_VERSION_H
