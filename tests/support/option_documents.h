// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_OPTION_DOCUMENTS_H
#define TESTS_SUPPORT_OPTION_DOCUMENTS_H

#include <string>

namespace support {

/// The reference of all options of the tool and the viewer, docs/options.md.
std::string OptionReference();

/// The commented sample of the configuration file, packaging/tarnix.yaml. "#" right before a key comments out
/// a setting; "# " begins an explanation.
std::string SampleFile();

}  // namespace support

#endif  // TESTS_SUPPORT_OPTION_DOCUMENTS_H
