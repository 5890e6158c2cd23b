#pragma once

#include <string_view>

namespace elvantris::operator_control {

// Of this tool, which is that of the program in the same package.
std::string_view tool_version();

} // namespace elvantris::operator_control
