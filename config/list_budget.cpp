// SPDX-License-Identifier: MIT

#include "config/list_budget.h"

#include "config/reader_messages.h"

TnResult ListBudget::TakeItems(std::size_t count)
{
    if (count > MAX_ITEMS - items) {
        return reader_messages::MoreItemsThan(key, MAX_ITEMS);
    }
    items += count;
    return {};
}

TnResult ListBudget::TakeKeys(std::size_t count)
{
    if (count > MAX_KEYS - keys) {
        return reader_messages::MoreKeysThan(key, MAX_KEYS);
    }
    keys += count;
    return {};
}

TnResult ListBudget::TakeText(const std::string& text)
{
    if (text.size() > MAX_BYTES - bytes) {
        return reader_messages::MoreBytesThan(key, MAX_BYTES);
    }
    bytes += text.size();
    return {};
}
