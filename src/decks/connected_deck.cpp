#include "decks/connected_deck.hpp"

#include "decks/image_reports.hpp"
#include "decks/splash.hpp"

#include <hidapi.h>

namespace elvantris::operator_control {
namespace {

bool send_feature_report(const connected_deck& deck, report_bytes report) {
    return ::hid_send_feature_report(deck.device, report.data(), report.size()) >= 0;
}

} // namespace

bool write_image(const connected_deck& deck, std::int32_t key, std::string_view image) {
    if (deck.device == nullptr) return false;
    return send_image_reports(deck.model.family, key, image, [&](report_bytes report) {
        return ::hid_write(deck.device, report.data(), report.size()) >= 0;
    });
}

bool write_empty_key(const connected_deck& deck, std::int32_t key) {
    if (deck.device == nullptr) return false;
    if (deck.model.family == deck_family::family_jpeg)
        return send_feature_report(deck, clear_key_report(key));
    return write_image(deck, key, black_image(deck.model.family));
}

bool write_empty_keys(const connected_deck& deck) {
    bool all = true;
    for (std::int32_t key = 0; key < deck.model.key_count; ++key)
        all = write_empty_key(deck, key) && all;
    return all;
}

bool write_splash(const connected_deck& deck) {
    const splash_set tiles = splash_for(deck.model);
    if (tiles.size() != static_cast<std::size_t>(deck.model.key_count)) return false;
    bool all = true;
    std::int32_t key = 0;
    for (const splash_tile& tile : tiles)
        all =
            write_image(deck, key++, {reinterpret_cast<const char*>(tile.data), tile.size}) && all;
    return all;
}

void send_reset(const connected_deck& deck) {
    if (deck.device != nullptr) send_feature_report(deck, reset_report(deck.model.family));
}

void close_device(connected_deck& deck) {
    if (deck.device != nullptr) ::hid_close(deck.device);
    deck.device = nullptr;
}

} // namespace elvantris::operator_control
