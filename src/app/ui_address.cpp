#include "app/ui_address.hpp"

namespace elvantris::operator_control {

std::string ui_address(std::uint16_t port, bool configure) {
    return "http://127.0.0.1:" + std::to_string(port) + '/' + (configure ? "?configure=1" : "");
}

} // namespace elvantris::operator_control
