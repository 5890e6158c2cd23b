// How a device's own texts and ids become ours. Pure.
#pragma once

#include <cstdint>
#include <string>

namespace elvantris::operator_control {

// ASCII stays, every other 16-bit unit becomes a question mark; null gives an empty text.
std::string narrow(const wchar_t* text);

// Four lower-case hexadecimal digits.
std::string hex_product_id(std::uint16_t product_id);

} // namespace elvantris::operator_control
