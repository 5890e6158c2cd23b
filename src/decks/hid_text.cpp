#include "decks/hid_text.hpp"

namespace elvantris::operator_control {

std::string narrow(const wchar_t* text) {
    std::string narrowed;
    for (; text != nullptr && *text != L'\0'; ++text) {
        const auto unit = std::char_traits<wchar_t>::to_int_type(*text);
        if (unit <= 127)
            narrowed += static_cast<char>(unit);
        else
            // Where a wide character holds more than 16 bits, it stands for two units.
            narrowed += (unit >> 16U) != 0 ? "??" : "?";
    }
    return narrowed;
}

std::string hex_product_id(std::uint16_t product_id) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const unsigned shift : {12U, 8U, 4U, 0U})
        text += digits[(product_id >> shift) & 0xFU];
    return text;
}

} // namespace elvantris::operator_control
