#pragma once

#include <cstdint>
#include <string>

namespace elvantris::operator_control {

// Where the operator's page is; with `configure` it opens at its setup dialog.
std::string ui_address(std::uint16_t port, bool configure);

} // namespace elvantris::operator_control
