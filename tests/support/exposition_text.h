// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_EXPOSITION_TEXT_H
#define TESTS_SUPPORT_EXPOSITION_TEXT_H

#include <map>
#include <string>

namespace support {

/// A scrape, read strictly: every line a HELP, a TYPE, or a sample with a finite value.
struct ExpositionText {
    std::map<std::string, double> samples;  ///< by name with labels, as they stand in the text
    std::string fault;  ///< the first line that is none of these; empty when there is none

    /// The sample; not a number when there is none.
    double operator[](const std::string& name) const;
};

ExpositionText ParseExposition(const std::string& text);

}  // namespace support

#endif  // TESTS_SUPPORT_EXPOSITION_TEXT_H
