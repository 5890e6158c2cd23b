// JSON as a tree, for the tool alone: the program itself needs none.
#pragma once

#include <nlohmann/json.hpp>

#include <string_view>

namespace elvantris::operator_control {

// Keys keep the order in which they were put in.
using json_tree = nlohmann::ordered_json;

// Reads what the program wrote. It passes on names and values of servers as they came, so what a
// strict reader refuses in them is replaced: bytes that are not UTF-8 and lone surrogates by
// U+FFFD, numbers that no double can hold by null. Discarded if the text is no JSON even then, or
// nests too deep. Nothing is thrown. Pure.
json_tree read_json_tree(std::string_view text);

} // namespace elvantris::operator_control
