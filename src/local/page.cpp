#include "local/page.hpp"

#include "local/page/page_text.hpp"

namespace elvantris::operator_control {

std::string build_shell_page() {
    std::string page;
    page.reserve(shell_piece.size() + protection_piece.size() + closing_text.size());
    return page.append(shell_piece).append(protection_piece).append(closing_text);
}

} // namespace elvantris::operator_control
