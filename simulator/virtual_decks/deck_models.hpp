// What the decks are like, seen from the device.
#pragma once

#include <cstdint>
#include <string_view>

namespace elvantris::simulator {

constexpr std::uint16_t deck_vendor_id = 0x0FD9;

enum class report_layout {
    jpeg,    // images of 1024-byte reports, keys from byte 4
    mini,    // the same size with a BMP inside, keys from byte 1
    original // images of two reports of 8191 bytes, each row of keys from the right
};

struct deck_model {
    std::uint16_t product_id = 0;
    std::string_view name;
    report_layout layout{};
    int columns = 0;
    int rows = 0;
    int key_side = 0;   // pixels; keys are square
    int image_turn = 0; // how far an image must be turned clockwise to stand upright on the key

    int key_count() const { return columns * rows; }
};

// Nothing for a product that is no deck of a known kind.
const deck_model* find_deck_model(std::uint16_t product_id);

} // namespace elvantris::simulator
