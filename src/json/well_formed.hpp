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

// The length of the UTF-8 character at the front of a text that is not empty; 0 if there is none.
// Overlong forms, surrogates and numbers beyond Unicode don't count.
std::size_t utf8_length(std::string_view text);

} // namespace elvantris::operator_control
