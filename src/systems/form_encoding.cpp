#include "systems/form_encoding.hpp"

#include "text/scanning.hpp"

namespace elvantris::operator_control {

std::string url_encode_form(std::string_view text) {
    constexpr std::string_view hex = "0123456789ABCDEF";
    const auto stands_for_itself = [](char byte) {
        return is_digit(byte) || (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
               byte == '-' || byte == '.' || byte == '_' || byte == '~';
    };
    std::string out;
    out.reserve(text.size() + text.size() / 2);
    for (const char byte : text) {
        if (stands_for_itself(byte)) {
            out += byte;
        } else if (byte == ' ') {
            out += '+';
        } else {
            const auto code = static_cast<unsigned char>(byte);
            out += '%';
            out += hex[code >> 4U];
            out += hex[code & 0x0FU];
        }
    }
    return out;
}

} // namespace elvantris::operator_control
