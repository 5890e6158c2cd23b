// The texts of the pages, from the sources beside this file.
#pragma once

#include <string_view>

namespace elvantris::operator_control {

// From the document type on: header, work area, setup dialog, polling.
extern const std::string_view shell_piece;

// Builds on the first piece: banner, protection dialog.
extern const std::string_view protection_piece;

inline constexpr std::string_view closing_text = "</body>\n</html>";

// With `ui_port_place` wherever the port belongs.
extern const std::string_view diagnostics_page;
inline constexpr std::string_view ui_port_place = "{ui_port}";

} // namespace elvantris::operator_control
