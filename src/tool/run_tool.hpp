#pragma once

#include <string>
#include <vector>

namespace elvantris::operator_control {

// The whole tool. `arguments` are UTF-8, the program's own name first. Answers go to the standard
// output, the reason for having none to the standard error stream. The result is the exit code.
int run_tool(const std::vector<std::string>& arguments) noexcept;

} // namespace elvantris::operator_control
