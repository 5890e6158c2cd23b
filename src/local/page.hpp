#pragma once

#include <string>

namespace elvantris::operator_control {

// The operator's page, whole. Built into the program; needs nothing from the disk.
std::string build_shell_page();

} // namespace elvantris::operator_control
