#include "json/escape.hpp"

namespace elvantris::operator_control {

std::string json_escape(std::string_view bytes) {
    constexpr std::string_view hex = "0123456789abcdef";
    std::string out;
    out.reserve(bytes.size() + 8);
    for (const char byte : bytes) {
        switch (byte) {
        case '\t':
            out += "\\t";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        default:
            if (const auto code = static_cast<unsigned char>(byte); code < 0x20) {
                out += "\\u00";
                out += hex[code >> 4U];
                out += hex[code & 0x0FU];
            } else {
                out += byte;
            }
        }
    }
    return out;
}

} // namespace elvantris::operator_control
