// SPDX-License-Identifier: MIT

#ifndef CONFIG_TN_RESULT_H
#define CONFIG_TN_RESULT_H

#include <cstdint>

#include <string>

/// Result of a configuration operation.
struct TnResult {
    std::int32_t code = 0;  ///< 0: success, 1: failure; nothing else
    std::string message;    ///< reason of a failure; a success may carry a remark
};

#endif  // CONFIG_TN_RESULT_H
