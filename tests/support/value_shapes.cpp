// SPDX-License-Identifier: MIT

#include "tests/support/value_shapes.h"

#include <utility>

#include <yaml-cpp/yaml.h>

namespace support {
namespace {

constexpr char KEY_MARK = '@';

ValueShape Absent(const std::string& name, const std::string& document)
{
    ValueShape shape;
    shape.name = name;
    shape.document = document;
    return shape;
}

ValueShape Of(ShapeClass kind, const std::string& name, const std::string& document)
{
    ValueShape shape = Absent(name, document);
    shape.kind = kind;
    return shape;
}

ValueShape Scalar(const std::string& name, const std::string& document, const std::string& text)
{
    ValueShape shape = Of(ShapeClass::SCALAR, name, document);
    shape.text = text;
    return shape;
}

ValueShape Number(const std::string& name, const std::string& document, std::uint32_t number)
{
    ValueShape shape = Scalar(name, document, std::to_string(number));
    shape.number = number;
    return shape;
}

ValueShape Texts(const std::string& name, const std::string& document, const std::vector<std::string>& items)
{
    ValueShape shape = Of(ShapeClass::TEXTS, name, document);
    shape.items = items;
    return shape;
}

ValueShape Lists(const std::string& name, const std::string& document,
                 const std::vector<std::vector<std::string>>& lists)
{
    ValueShape shape = Of(ShapeClass::LISTS, name, document);
    shape.lists = lists;
    return shape;
}

/// Some versions convert a null among the texts of a list, others refuse it.
ValueShape NullItem()
{
    try {
        return Texts("null item", "@: [a, ~]", YAML::Load("[a, ~]").as<std::vector<std::string>>());
    } catch (const YAML::Exception&) {
        return Of(ShapeClass::OTHER_LIST, "null item", "@: [a, ~]");
    }
}

/// Some versions merge "<<" into the mapping, others leave it a key like any other.
ValueShape MergeKey()
{
    const YAML::Node probe = YAML::Load("<<: {a: 5}");
    const YAML::Node& root = probe;
    return root["a"].IsDefined() ? Number("merge key", "<<: {@: 5}", 5) : Absent("merge key", "<<: {@: 5}");
}

std::vector<ValueShape> AbsentShapes()
{
    return {
        Absent("other key", "other: 5"),
        Absent("empty document", ""),
        Absent("only a comment", "# @: 5\n"),
        Absent("null root", "~"),
        Absent("scalar root", "@"),
        Absent("list root", "[@, 5]"),
        Absent("list of mappings as root", "- @: 5"),
        Absent("longer key", "@x: 5"),
        Absent("key with a blank", "\"@ \": 5"),
        Absent("key one level deeper", "outer: {@: 5}"),
        Absent("list as key", "? [@]\n: 5"),
        Absent("mapping as key", "? {@: 5}\n: 5"),
        Absent("null as key", "~: 5"),
        Absent("second document", "other: 5\n---\n@: 5"),
        MergeKey(),
    };
}

std::vector<ValueShape> NumberShapes()
{
    return {
        Number("number", "@: 5", 5),
        Number("zero", "@: 0", 0),
        Number("largest number", "@: 4294967295", 4294967295U),
        Number("quoted number", "@: \"5\"", 5),
        Number("number between blanks", "@:    5   ", 5),
        Number("number before a comment", "@: 5 # five", 5),
        Number("tagged as text", "@: !!str 5", 5),
        Number("local tag", "@: !mine 5", 5),
        Number("tag of no kind", "@: ! 5", 5),
        Number("anchored", "@: &a 5", 5),
        Number("alias", "x: &a 5\n@: *a", 5),
        Number("quoted key", "\"@\": 5", 5),
        Number("explicit key", "? @\n: 5", 5),
        Number("flow root", "{@: 5, x: y}", 5),
        Number("first of equal keys", "@: 5\n@: 6", 5),
        Number("first of equal keys of two shapes", "@: 5\n@: [6]", 5),
        Number("CRLF", "x: y\r\n@: 5\r\n", 5),
        Number("byte-order mark", "\xEF\xBB\xBF@: 5", 5),
        Number("document marks", "---\n@: 5\n...\n", 5),
        Number("first of two documents", "@: 5\n---\n@: 6", 5),
        Number("directive", "%YAML 1.2\n---\n@: 5", 5),
    };
}

std::vector<ValueShape> ScalarShapes()
{
    return {
        Scalar("number too large", "@: 4294967296", "4294967296"),
        Scalar("negative", "@: -1", "-1"),
        Scalar("plus sign", "@: +1", "+1"),
        Scalar("hexadecimal", "@: 0x10", "0x10"),
        Scalar("leading zero", "@: 010", "010"),
        Scalar("fraction", "@: 1.5", "1.5"),
        Scalar("exponent", "@: 1e3", "1e3"),
        Scalar("infinity", "@: .inf", ".inf"),
        Scalar("blanks inside quotes", "@: ' 5 '", " 5 "),
        Scalar("true", "@: true", "true"),
        Scalar("false", "@: 'false'", "false"),
        Scalar("True", "@: True", "True"),
        Scalar("yes", "@: yes", "yes"),
        Scalar("plain name", "@: info", "info"),
        Scalar("name in single quotes", "@: 'info'", "info"),
        Scalar("upper case", "@: INFO", "INFO"),
        Scalar("empty text", "@: \"\"", ""),
        Scalar("quoted tilde", "@: \"~\"", "~"),
        Scalar("quoted null", "@: 'null'", "null"),
        Scalar("NUL", "@: \"info\\0\"", std::string("info\0", 5)),
        Scalar("control bytes", "@: \"\\x01\\n\\t\\e[2J\"", "\x01\n\t\x1b[2J"),
        Scalar("not UTF-8", "@: \"\xC3\x28\xFF\"", "\xC3\x28\xFF"),
        Scalar("UTF-8", "@: gr\xC3\xBC\xC3\x9F", "gr\xC3\xBC\xC3\x9F"),
        Scalar("literal block", "@: |\n  info\n", "info\n"),
        Scalar("folded block", "@: >-\n  a\n  b\n", "a b"),
        Scalar("two plain lines", "@: a\n  b", "a b"),
        Scalar("colon", "@: a:b", "a:b"),
        Scalar("long text", "@: " + std::string(100000, 'x'), std::string(100000, 'x')),
    };
}

std::vector<ValueShape> NullAndMapShapes()
{
    return {
        Of(ShapeClass::NULL_VALUE, "nothing", "@:"),
        Of(ShapeClass::NULL_VALUE, "nothing but a comment", "@: # nothing"),
        Of(ShapeClass::NULL_VALUE, "tilde", "@: ~"),
        Of(ShapeClass::NULL_VALUE, "null", "@: null"),
        Of(ShapeClass::NULL_VALUE, "anchored nothing", "@: &a\nx: y"),
        Of(ShapeClass::NULL_VALUE, "alias of a null", "x: &a ~\n@: *a"),
        Of(ShapeClass::MAP, "empty mapping", "@: {}"),
        Of(ShapeClass::MAP, "mapping", "@: {a: b}"),
        Of(ShapeClass::MAP, "mapping in block form", "@:\n  a: b\n  c: d"),
        Of(ShapeClass::MAP, "mapping with its own key", "@: {@: 5}"),
        Of(ShapeClass::MAP, "mapping with numbers as keys", "@: {0: a, 1: b}"),
        Of(ShapeClass::MAP, "alias of a mapping", "x: &a {b: c}\n@: *a"),
        Of(ShapeClass::MAP, "mapping that holds itself", "@: &a {b: *a}"),
    };
}

std::vector<ValueShape> ListShapes()
{
    return {
        Texts("empty list", "@: []", {}),
        Texts("alias of an empty list", "x: &a []\n@: *a", {}),
        Texts("list of one", "@: [5]", {"5"}),
        Texts("list in block form", "@:\n- 5\n- 6", {"5", "6"}),
        Texts("list of words", "@: ['a,b', c\\d, \"\"]", {"a,b", "c\\d", ""}),
        Texts("equal items", "@: [a, b, a]", {"a", "b", "a"}),
        Texts("tagged and aliased items", "x: &a 7\n@: [*a, !!str 8]", {"7", "8"}),
        Texts("alias of a list", "x: &a [5, 6]\n@: *a", {"5", "6"}),
        NullItem(),
        Lists("list of lists", "@: [[a, b, a], [c]]", {{"a", "b", "a"}, {"c"}}),
        Lists("list of lists in block form", "@:\n- - a\n  - b\n- [c]", {{"a", "b"}, {"c"}}),
        Lists("list of an empty list", "@: [[]]", {{}}),
        Lists("aliased lists", "x: &a [5]\n@: [*a, *a]", {{"5"}, {"5"}}),
        Of(ShapeClass::OTHER_LIST, "text and list", "@: [a, [b]]"),
        Of(ShapeClass::OTHER_LIST, "list and text", "@: [[b], a]"),
        Of(ShapeClass::OTHER_LIST, "list and null", "@: [[b], ~]"),
        Of(ShapeClass::OTHER_LIST, "text and mapping", "@: [a, {b: c}]"),
        Of(ShapeClass::OTHER_LIST, "list of mappings", "@: [{a: b}]"),
        Of(ShapeClass::OTHER_LIST, "three levels of lists", "@: [[[a]]]"),
        Of(ShapeClass::OTHER_LIST, "list of lists with a mapping", "@: [[a], [{b: c}]]"),
        Of(ShapeClass::OTHER_LIST, "list that holds itself", "@: &a [*a]"),
        Of(ShapeClass::OTHER_LIST, "list that holds itself deeper", "@: &a [[b, *a]]"),
    };
}

}  // namespace

std::vector<ValueShape> ValueShapes(const std::string& key)
{
    std::vector<ValueShape> shapes;
    for (const std::vector<ValueShape>& group :
         {AbsentShapes(), NumberShapes(), ScalarShapes(), NullAndMapShapes(), ListShapes()}) {
        shapes.insert(shapes.end(), group.begin(), group.end());
    }
    for (ValueShape& shape : shapes) {
        std::string document;
        for (const char c : shape.document) {
            document += c == KEY_MARK ? key : std::string(1, c);
        }
        shape.document = std::move(document);
    }
    return shapes;
}

}  // namespace support
