// Whether a foreign text can be put into our own JSON as it is.
//
// Pure; never throws. One pass over the text, no tree, no recursion, a fixed amount of memory.
#pragma once

#include <cstddef>
#include <string_view>

namespace elvantris::operator_control {

inline constexpr std::size_t deepest_json_nesting = 1024;

// True for exactly one JSON value by RFC 8259, with white space around it. False for what a strict
// reader refuses: raw control characters in strings, bytes that are not UTF-8, a byte order mark.
// False also for a value that nests deeper than 1,024 arrays and objects.
bool json_is_value(std::string_view text);

} // namespace elvantris::operator_control
