// SPDX-License-Identifier: MIT

#ifndef CONFIG_LIST_BUDGET_H
#define CONFIG_LIST_BUDGET_H

#include <cstddef>

#include <string>

#include "config/tn_result.h"

/// Bounds what one key of the file may grow to once aliases are written out: a small file can name the same
/// list or the same long text thousands of times. A file without aliases stays below both limits' sizes by
/// its own limit.
class ListBudget {
public:
    static constexpr std::size_t MAX_ITEMS = 65536;
    static constexpr std::size_t MAX_KEYS = 1U << 20U;   // no file has more bytes
    static constexpr std::size_t MAX_BYTES = 4U << 20U;  // four times the largest file

    /// `budgetKey` begins the messages and has to outlive the object.
    explicit ListBudget(const std::string& budgetKey) : key(budgetKey) {}

    /// Takes `count` items; code 1 when there are more than MAX_ITEMS in all.
    TnResult TakeItems(std::size_t count);

    /// Takes the keys of a mapping; code 1 when there are more than MAX_KEYS in all.
    TnResult TakeKeys(std::size_t count);

    /// Takes the bytes of a text; code 1 when there are more than MAX_BYTES in all.
    TnResult TakeText(const std::string& text);

private:
    const std::string& key;
    std::size_t items = 0;
    std::size_t keys = 0;
    std::size_t bytes = 0;
};

#endif  // CONFIG_LIST_BUDGET_H
