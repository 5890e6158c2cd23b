// UTF-8 is the program's text; UTF-16 is what Windows' own calls take.
#pragma once

#include <string>
#include <string_view>

namespace elvantris::operator_control {

std::wstring to_wide(std::string_view utf8);
std::string to_utf8(std::wstring_view wide);

} // namespace elvantris::operator_control
