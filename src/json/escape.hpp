#pragma once

#include <string>
#include <string_view>

namespace elvantris::operator_control {

// The bytes as they stand between the double quotes of a JSON string. Quote, backslash, tab, line
// feed and carriage return take their short escapes, other bytes below 0x20 become \u00xx; all
// else, UTF-8 included, is copied unchecked. Pure; never fails.
std::string json_escape(std::string_view bytes);

} // namespace elvantris::operator_control
