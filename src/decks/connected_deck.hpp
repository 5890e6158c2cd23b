// One open device, and what is written to it.
#pragma once

#include "decks/deck_models.hpp"
#include "decks/streamdeck_adapter.hpp"
#include "os/clock.hpp"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <set>
#include <string_view>
#include <vector>

struct hid_device_;

namespace elvantris::operator_control {

struct connected_deck {
    connected_deck() = default;
    connected_deck(const connected_deck&) = delete;
    connected_deck& operator=(const connected_deck&) = delete;
    connected_deck(connected_deck&&) = delete;
    connected_deck& operator=(connected_deck&&) = delete;
    // Closes the device if an exception has kept the adapter from doing so.
    ~connected_deck();

    deck_info info;
    deck_model model;
    hid_device_* device = nullptr; // null once closed
    std::vector<bool> key_state;   // true for a key that is down; the adapter's thread alone
    // Guards `device` and `refused_keys`. Held for a whole image, so that the reports of two never
    // interleave.
    std::mutex mutex;
    std::set<std::int32_t> refused_keys; // whose oversized image has been logged
    // A report was slow to fail. The next scan clears this without waiting for `mutex`.
    std::atomic<bool> left_alone{false};
    // Of the failed reads since the last good one; the adapter's thread alone.
    std::uint32_t failed_reads = 0;
    steady_time failing_since;
};

// For all of these the caller holds the deck's `mutex` and the reports go out before the return.
// Failure: false, at once, for a deck that has been closed or is left alone; false if a report
//   could not be sent. After a report that was slow to fail the deck is left alone: each further
//   report could take seconds as well, and other decks and the keys would wait for it.

bool write_image(connected_deck& deck, std::int32_t key, std::string_view image);
bool write_empty_key(connected_deck& deck, std::int32_t key);
// All keys are tried.
bool write_empty_keys(connected_deck& deck);
bool write_splash(connected_deck& deck);

void send_reset(const connected_deck& deck);
void close_device(connected_deck& deck);

} // namespace elvantris::operator_control
