// The texts that the workstation and a server exchange about decks. Pure.
#pragma once

#include "decks/streamdeck_adapter.hpp"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace elvantris::operator_control {

struct deck_key_image {
    std::int32_t index = 0;
    std::string image; // as the deck takes it; empty: the key is to be cleared
};

// One step of what a key is to set off. The servers run it; here it is only kept.
struct deck_cue {
    std::int32_t function_id = 0;
    std::int32_t delay_ms = 0;
    std::string action;
    std::string address;
    std::int32_t port = 0;
    std::string payload;
    std::string release_payload;
    std::int32_t page_delta = 0;
};

// What a server says about one deck.
struct deck_view {
    std::string serial;
    std::int32_t page = 1;
    bool use_splash = false; // in place of any keys
    std::vector<deck_key_image> keys;
    std::map<std::int32_t, std::vector<deck_cue>> scripts;
    std::vector<std::int32_t> refused_keys; // their image was no Base64
};

struct deck_state_reply {
    std::int64_t generation = 0;
    bool changed = false;
    std::vector<deck_view> decks;
    bool accepted = false; // all else counts only if this is true
};

std::string write_registration(const std::string& session_id, const std::string& machine_name,
                               const std::vector<deck_info>& decks);
std::string write_key_event(const std::string& session_id, const std::string& serial,
                            std::int32_t key, bool down);
std::string write_page(const std::string& session_id, const std::string& serial, std::int32_t page);
std::string write_detach(const std::string& session_id);

// Path and query of the state poll.
std::string state_path(const std::string& session_id, std::int64_t since);

// Never fails: what can't be read takes its default, the generation that of the request. A key
// whose image is no Base64 is left out; the rest of the reply stands. Reads up to 262,144 objects
// of all lists together.
deck_state_reply read_deck_state(std::string_view body, std::int64_t since);

} // namespace elvantris::operator_control
