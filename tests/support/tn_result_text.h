// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_TN_RESULT_TEXT_H
#define TESTS_SUPPORT_TN_RESULT_TEXT_H

#include <string>

#include "config/tn_result.h"

namespace support {

/// Code and message in one text, so that both are compared at once: "1: log-level is not a scalar".
inline std::string Told(const TnResult& result)
{
    return std::to_string(result.code) + ": " + result.message;
}

}  // namespace support

#endif  // TESTS_SUPPORT_TN_RESULT_TEXT_H
