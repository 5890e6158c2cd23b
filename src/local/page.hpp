#pragma once

#include <cstdint>
#include <string>

namespace elvantris::operator_control {

// The operator's page, whole. Built into the program; needs nothing from the disk.
std::string build_shell_page();

// The status as it stands, for whoever looks for a fault, and a link to the operator's page.
std::string build_diagnostics_page(std::uint16_t ui_port);

} // namespace elvantris::operator_control
