#include "decks/deck_session.hpp"

#include <algorithm>
#include <utility>

namespace elvantris::operator_control {
namespace {

constexpr std::size_t most_absent_decks = 64;
constexpr std::size_t longest_absent_serial = 4'096;

bool is_attached(const std::string& serial, const std::vector<deck_info>& attached) {
    return std::ranges::find(attached, serial, &deck_info::serial) != attached.end();
}

bool has_room(const server_deck_session& session, const std::string& serial,
              const std::vector<deck_info>& attached) {
    if (session.decks.contains(serial)) return true;
    if (is_attached(serial, attached)) return true;
    return session.decks.size() < most_absent_decks && serial.size() <= longest_absent_serial;
}

} // namespace

std::vector<deck_key_image> keep_view(server_deck_session& session, deck_view view,
                                      const std::vector<deck_info>& attached) {
    std::vector<deck_key_image> indexes;
    indexes.reserve(view.keys.size());
    for (const deck_key_image& key : view.keys)
        indexes.push_back({.index = key.index, .image = {}});
    std::vector<deck_key_image> keys = std::exchange(view.keys, std::move(indexes));
    if (has_room(session, view.serial, attached)) {
        // Of a deck that isn't here only the page is ever asked for.
        if (!is_attached(view.serial, attached)) view.scripts.clear();
        deck_view& kept = session.decks[view.serial];
        kept = std::move(view);
    }
    return keys;
}

} // namespace elvantris::operator_control
