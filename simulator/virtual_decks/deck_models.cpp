#include "deck_models.hpp"

#include <algorithm>
#include <array>

namespace elvantris::simulator {

namespace {

using enum report_layout;

constexpr std::array models{
    deck_model{0x0060, "Stream Deck Original", original, 5, 3, 72, 0},
    deck_model{0x0063, "Stream Deck Mini", mini, 3, 2, 80, 270},
    deck_model{0x006C, "Stream Deck XL", jpeg, 8, 4, 96, 180},
    deck_model{0x006D, "Stream Deck 2019", jpeg, 5, 3, 72, 180},
    deck_model{0x0080, "Stream Deck Mk.2", jpeg, 5, 3, 72, 180},
    deck_model{0x0084, "Stream Deck +", jpeg, 4, 2, 120, 0},
    deck_model{0x008F, "Stream Deck XL 2022", jpeg, 8, 4, 96, 180},
    deck_model{0x0090, "Stream Deck Mini 2022", mini, 3, 2, 80, 270},
    deck_model{0x009A, "Stream Deck Neo", jpeg, 4, 2, 96, 180},
    deck_model{0x00A5, "Stream Deck Mk.2 Scissor", jpeg, 5, 3, 72, 180},
    deck_model{0x00B3, "Stream Deck Mini Discord", mini, 3, 2, 80, 270},
    deck_model{0x00B8, "Stream Deck 6-Key Module", mini, 3, 2, 80, 270},
    deck_model{0x00B9, "Stream Deck 15-Key Module", jpeg, 5, 3, 72, 180},
    deck_model{0x00BA, "Stream Deck 32-Key Module", jpeg, 8, 4, 96, 180},
};

} // namespace

const deck_model* find_deck_model(std::uint16_t product_id) {
    const auto* found = std::find_if(models.begin(), models.end(), [&](const deck_model& each) {
        return each.product_id == product_id;
    });
    return found == models.end() ? nullptr : found;
}

} // namespace elvantris::simulator
