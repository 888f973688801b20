// SPDX-License-Identifier: MIT

#include "tools/tnstat/version.h"

#include "config/option_info.h"

namespace tnstat {
namespace {

const char* const REVISION_LABEL = "git info: ";

}  // namespace

std::string ProgramVersion()
{
    return TNSTAT_VERSION;
}

std::string SourceRevision()
{
    const std::string label = REVISION_LABEL;
    const std::string info = GetVersionInfo();
    const std::size_t at = info.find(label);
    return at == std::string::npos ? "unknown" : info.substr(at + label.size());
}

std::string VersionText()
{
    return "tnstat " + ProgramVersion() + "\n" + GetVersionInfo() + "\n";
}

}  // namespace tnstat
