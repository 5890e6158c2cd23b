// One open device, and what is written to it.
#pragma once

#include "decks/deck_models.hpp"
#include "decks/streamdeck_adapter.hpp"

#include <cstdint>
#include <mutex>
#include <string_view>
#include <vector>

struct hid_device_;

namespace elvantris::operator_control {

struct connected_deck {
    deck_info info;
    deck_model model;
    hid_device_* device = nullptr; // null once closed
    std::vector<bool> key_state;   // true for a key that is down; the adapter's thread alone
    // Guards `device`. Held for a whole image, so that the reports of two never interleave.
    std::mutex mutex;
    // Of the reads since a scan last judged them; the adapter's thread alone.
    std::uint32_t reads_tried = 0;
    std::uint32_t reads_failed = 0;
};

// For all of these the caller holds the deck's `mutex` and the reports go out before the return.
// Failure: false, at once, for a deck that has been closed; false if a report could not be sent.

bool write_image(const connected_deck& deck, std::int32_t key, std::string_view image);
bool write_empty_key(const connected_deck& deck, std::int32_t key);
// All keys are tried.
bool write_empty_keys(const connected_deck& deck);
bool write_splash(const connected_deck& deck);

void send_reset(const connected_deck& deck);
void close_device(connected_deck& deck);

} // namespace elvantris::operator_control
