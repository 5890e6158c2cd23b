#include "decks/deck_models.hpp"

#include <algorithm>
#include <array>

namespace elvantris::operator_control {
namespace {

using enum deck_family;

// Everything about a model is in its row; docs/adding.md tells what else a new one needs.
constexpr auto models = std::to_array<deck_model>({
    {0x0060, "Stream Deck Original", family_original, 15, 72, 72, "bmp", 0, &splash_15_original},
    {0x006D, "Stream Deck 2019", family_jpeg, 15, 72, 72, "jpeg", 180, &splash_15_jpeg},
    {0x0080, "Stream Deck Mk.2", family_jpeg, 15, 72, 72, "jpeg", 180, &splash_15_jpeg},
    {0x00A5, "Stream Deck Mk.2 Scissor", family_jpeg, 15, 72, 72, "jpeg", 180, &splash_15_jpeg},
    {0x00B9, "Stream Deck 15-Key Module", family_jpeg, 15, 72, 72, "jpeg", 180, &splash_15_jpeg},
    {0x006C, "Stream Deck XL", family_jpeg, 32, 96, 96, "jpeg", 180, &splash_32_jpeg},
    {0x008F, "Stream Deck XL 2022", family_jpeg, 32, 96, 96, "jpeg", 180, &splash_32_jpeg},
    {0x00BA, "Stream Deck 32-Key Module", family_jpeg, 32, 96, 96, "jpeg", 180, &splash_32_jpeg},
    {0x0063, "Stream Deck Mini", family_mini, 6, 80, 80, "bmp", 90, &splash_6_bmp},
    {0x0090, "Stream Deck Mini 2022", family_mini, 6, 80, 80, "bmp", 90, &splash_6_bmp},
    {0x00B3, "Stream Deck Mini Discord", family_mini, 6, 80, 80, "bmp", 90, &splash_6_bmp},
    {0x00B8, "Stream Deck 6-Key Module", family_mini, 6, 80, 80, "bmp", 90, &splash_6_bmp},
    {0x0084, "Stream Deck +", family_jpeg, 8, 120, 120, "jpeg", 0, &splash_8_jpeg_120},
    {0x009A, "Stream Deck Neo", family_jpeg, 8, 96, 96, "jpeg", 180, &splash_8_jpeg_96},
});

// What image_reports.cpp and key_reports.cpp take for granted of a family: the size of the black
// image that empties a key, and the Original's rows of five.
constexpr bool fits_its_family(const deck_model& model) {
    const auto keys_are = [&](std::string_view format, std::int32_t side) {
        return model.image_format == format && model.key_width == side && model.key_height == side;
    };
    switch (model.family) {
    case family_jpeg:
        return model.image_format == "jpeg";
    case family_mini:
        return keys_are("bmp", 80);
    case family_original:
        return keys_are("bmp", 72) && model.key_count == 15;
    }
    return false;
}
static_assert(std::ranges::all_of(models, fits_its_family),
              "A row differs from its family: see \"A deck model\" in docs/adding.md.");

} // namespace

std::span<const deck_model> deck_models() {
    return models;
}

const deck_model* find_deck_model(std::uint16_t product_id) {
    const auto found = std::ranges::find(models, product_id, &deck_model::product_id);
    return found == models.end() ? nullptr : &*found;
}

} // namespace elvantris::operator_control
