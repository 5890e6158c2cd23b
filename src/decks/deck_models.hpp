// The consoles that the program knows, and what each is like.
#pragma once

#include "decks/splash_tiles.hpp"

#include <cstdint>
#include <span>
#include <string_view>

namespace elvantris::operator_control {

// The three layouts of the reports to and from a deck; all else that differs is in the table.
enum class deck_family {
    family_jpeg = 0,
    family_mini = 1,
    family_original = 2,
};

// Keys are numbered from 0, left to right and top to bottom.
struct deck_model {
    std::uint16_t product_id = 0;
    std::string_view name;
    deck_family family = deck_family::family_jpeg;
    std::int32_t key_count = 0;
    std::int32_t key_width = 0; // pixels of one key's image
    std::int32_t key_height = 0;
    std::string_view image_format;   // "jpeg" or "bmp"
    std::int32_t image_rotation = 0; // degrees; the servers turn their images by it
    const splash_set* splash;        // cut for the values above
};

std::span<const deck_model> deck_models();

// Nothing for a product that is not in the table.
const deck_model* find_deck_model(std::uint16_t product_id);

} // namespace elvantris::operator_control
