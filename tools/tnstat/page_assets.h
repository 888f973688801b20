// SPDX-License-Identifier: MIT

#ifndef TOOLS_TNSTAT_PAGE_ASSETS_H
#define TOOLS_TNSTAT_PAGE_ASSETS_H

/// The page's files, put into the program by the build.
namespace tnstat::page_assets {

extern const char* const HTML;
extern const char* const CSS;
extern const char* const SCRIPT;

}  // namespace tnstat::page_assets

#endif  // TOOLS_TNSTAT_PAGE_ASSETS_H
