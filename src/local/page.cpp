#include "local/page.hpp"

#include "local/page/page_text.hpp"

namespace elvantris::operator_control {

std::string build_shell_page() {
    std::string page;
    page.reserve(shell_piece.size() + protection_piece.size() + closing_text.size());
    return page.append(shell_piece).append(protection_piece).append(closing_text);
}

std::string build_diagnostics_page(std::uint16_t ui_port) {
    const std::string port = std::to_string(ui_port);
    std::string page(diagnostics_page);
    for (std::size_t at = page.find(ui_port_place); at != std::string::npos;
         at = page.find(ui_port_place, at))
        page.replace(at, ui_port_place.size(), port);
    return page;
}

} // namespace elvantris::operator_control
