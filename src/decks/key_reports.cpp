#include "decks/key_reports.hpp"

#include <cstddef>

namespace elvantris::operator_control {
namespace {

constexpr unsigned char key_report_id = 1;

// How many bytes stand before the keys' states.
std::size_t header_size(deck_family family) {
    switch (family) {
    case deck_family::family_jpeg:
        return 4;
    case deck_family::family_mini:
    case deck_family::family_original:
        return 1;
    }
    return 0;
}

std::size_t state_position(deck_family family, std::size_t key) {
    switch (family) {
    case deck_family::family_jpeg:
    case deck_family::family_mini:
        return header_size(family) + key;
    case deck_family::family_original:
        // Within each row of five the states run from the right.
        return header_size(family) + 4 + key - 2 * (key % 5);
    }
    return 0;
}

bool holds_key_states(const deck_model& model, std::span<const unsigned char> report) {
    const auto key_count = static_cast<std::size_t>(model.key_count);
    if (report.empty() || report[0] != key_report_id) return false;
    if (report.size() < key_count + header_size(model.family)) return false;
    return model.family != deck_family::family_jpeg || report[1] == 0;
}

} // namespace

void apply_key_report(const deck_model& model, std::span<const unsigned char> report,
                      std::vector<bool>& key_state,
                      const std::function<void(std::int32_t key, bool down)>& on_change) {
    if (!holds_key_states(model, report)) return;
    for (std::size_t key = 0; key < key_state.size(); ++key) {
        const bool down = report[state_position(model.family, key)] != 0;
        if (down == key_state[key]) continue;
        key_state[key] = down;
        on_change(static_cast<std::int32_t>(key), down);
    }
}

} // namespace elvantris::operator_control
