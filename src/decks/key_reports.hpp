// Reading the keys out of a deck's input report. Pure.
#pragma once

#include "decks/deck_models.hpp"

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace elvantris::operator_control {

// Brings `key_state`, one bit for each key, in line with `report` and calls `on_change` for each
// key that differs, the lower key first. A report that is too short for the model, or that is not
// one of key states, changes nothing.
void apply_key_report(const deck_model& model, std::span<const unsigned char> report,
                      std::vector<bool>& key_state,
                      const std::function<void(std::int32_t key, bool down)>& on_change);

} // namespace elvantris::operator_control
