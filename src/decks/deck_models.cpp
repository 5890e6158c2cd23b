#include "decks/deck_models.hpp"

#include <algorithm>
#include <array>

namespace elvantris::operator_control {
namespace {

using enum deck_family;

constexpr std::array<deck_model, 14> models{{
    {0x0060, "Stream Deck Original", family_original, 15, 72, 72, "bmp", 0},
    {0x006D, "Stream Deck 2019", family_jpeg, 15, 72, 72, "jpeg", 180},
    {0x0080, "Stream Deck Mk.2", family_jpeg, 15, 72, 72, "jpeg", 180},
    {0x00A5, "Stream Deck Mk.2 Scissor", family_jpeg, 15, 72, 72, "jpeg", 180},
    {0x00B9, "Stream Deck 15-Key Module", family_jpeg, 15, 72, 72, "jpeg", 180},
    {0x006C, "Stream Deck XL", family_jpeg, 32, 96, 96, "jpeg", 180},
    {0x008F, "Stream Deck XL 2022", family_jpeg, 32, 96, 96, "jpeg", 180},
    {0x00BA, "Stream Deck 32-Key Module", family_jpeg, 32, 96, 96, "jpeg", 180},
    {0x0063, "Stream Deck Mini", family_mini, 6, 80, 80, "bmp", 90},
    {0x0090, "Stream Deck Mini 2022", family_mini, 6, 80, 80, "bmp", 90},
    {0x00B3, "Stream Deck Mini Discord", family_mini, 6, 80, 80, "bmp", 90},
    {0x00B8, "Stream Deck 6-Key Module", family_mini, 6, 80, 80, "bmp", 90},
    {0x0084, "Stream Deck +", family_jpeg, 8, 120, 120, "jpeg", 0},
    {0x009A, "Stream Deck Neo", family_jpeg, 8, 96, 96, "jpeg", 180},
}};

} // namespace

std::span<const deck_model> deck_models() {
    return models;
}

const deck_model* find_deck_model(std::uint16_t product_id) {
    const auto found = std::ranges::find(models, product_id, &deck_model::product_id);
    return found == models.end() ? nullptr : &*found;
}

} // namespace elvantris::operator_control
