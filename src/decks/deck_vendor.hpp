#pragma once

#include <cstdint>

namespace elvantris::operator_control {

// All decks are from one maker.
inline constexpr std::uint16_t deck_vendor_id = 0x0FD9;

} // namespace elvantris::operator_control
