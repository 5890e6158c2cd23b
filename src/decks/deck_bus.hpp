// What the USB bus has of the decks' maker, for who only looks: no deck is opened.
#pragma once

#include "decks/deck_models.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace elvantris::operator_control {

struct deck_on_bus {
    std::string path;   // the system's name of the device
    std::string serial; // may be empty
    std::string name;   // its own, else the model's
    std::uint16_t product_id = 0;
    const deck_model* model = nullptr; // null: the program doesn't know it
};

// Absent if the bus can't be listed. Not beside an adapter in the same process, which starts and
// ends hidapi on its own.
std::optional<std::vector<deck_on_bus>> list_decks_on_bus();

} // namespace elvantris::operator_control
