// What one server has said about the decks so far. Pure.
#pragma once

#include "decks/deck_protocol.hpp"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace elvantris::operator_control {

struct server_deck_session {
    std::int64_t generation = 0; // the `since` of the next poll
    // The last view of each deck, by its serial, without the bytes of its images. A deck that is
    // not attached is kept without its scripts, and only while there are fewer than 64, so that a
    // server can't fill the memory. Attached decks are always kept.
    std::map<std::string, deck_view> decks;
};

// Keeps the view if there is room, and returns its keys with their images for painting.
std::vector<deck_key_image> keep_view(server_deck_session& session, deck_view view,
                                      const std::vector<deck_info>& attached);

} // namespace elvantris::operator_control
