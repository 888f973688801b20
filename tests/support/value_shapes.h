// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_VALUE_SHAPES_H
#define TESTS_SUPPORT_VALUE_SHAPES_H

#include <cstdint>

#include <optional>
#include <string>
#include <vector>

namespace support {

/// What a key of a document holds, as far as readers tell values apart.
enum class ShapeClass {
    ABSENT,      ///< the document does not have the key, or is no mapping
    SCALAR,      ///< one text, ValueShape::text
    NULL_VALUE,  ///< the key without a value
    MAP,
    TEXTS,       ///< a list of texts, ValueShape::items
    LISTS,       ///< a list of lists of texts, ValueShape::lists
    OTHER_LIST,  ///< a list of anything else
};

/// One document with the key that it was made for.
struct ValueShape {
    std::string name;
    std::string document;
    ShapeClass kind = ShapeClass::ABSENT;
    std::string text;
    std::optional<std::uint32_t> number;  ///< of a scalar that is a strict decimal
    std::vector<std::string> items;
    std::vector<std::vector<std::string>> lists;
};

/// Every shape that a value can have under `key`, harmless and hostile. Where versions of yaml-cpp differ,
/// the class is what the installed one makes of the shape.
std::vector<ValueShape> ValueShapes(const std::string& key);

}  // namespace support

#endif  // TESTS_SUPPORT_VALUE_SHAPES_H
