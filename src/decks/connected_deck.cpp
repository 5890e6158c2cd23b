#include "decks/connected_deck.hpp"

#include "decks/image_reports.hpp"

#include <hidapi.h>

namespace elvantris::operator_control {
namespace {

// A dead deck refuses a report at once; one that hangs lets the system wait for a second or more.
constexpr milliseconds slow_failure{500};

template<typename sender>
bool send_report(connected_deck& deck, sender send) {
    if (deck.device == nullptr || deck.left_alone) return false;
    const steady_time begun = steady_now();
    if (send() >= 0) return true;
    if (steady_now() - begun >= slow_failure) deck.left_alone = true;
    return false;
}

} // namespace

connected_deck::~connected_deck() {
    close_device(*this);
}

bool write_image(connected_deck& deck, std::int32_t key, std::string_view image) {
    return send_image_reports(deck.model.family, key, image, [&](report_bytes report) {
        return send_report(deck,
                           [&] { return ::hid_write(deck.device, report.data(), report.size()); });
    });
}

bool write_empty_key(connected_deck& deck, std::int32_t key) {
    if (deck.model.family != deck_family::family_jpeg)
        return write_image(deck, key, black_image(deck.model.family));
    const auto report = clear_key_report(key);
    return send_report(
        deck, [&] { return ::hid_send_feature_report(deck.device, report.data(), report.size()); });
}

bool write_empty_keys(connected_deck& deck) {
    bool all = true;
    for (std::int32_t key = 0; key < deck.model.key_count; ++key)
        all = write_empty_key(deck, key) && all;
    return all;
}

bool write_splash(connected_deck& deck) {
    const splash_set& tiles = *deck.model.splash;
    if (tiles.size() != static_cast<std::size_t>(deck.model.key_count)) return false;
    bool all = true;
    std::int32_t key = 0;
    for (const splash_tile& tile : tiles)
        all =
            write_image(deck, key++, {reinterpret_cast<const char*>(tile.data), tile.size}) && all;
    return all;
}

void send_reset(const connected_deck& deck) {
    if (deck.device == nullptr) return;
    const report_bytes report = reset_report(deck.model.family);
    ::hid_send_feature_report(deck.device, report.data(), report.size());
}

void close_device(connected_deck& deck) {
    if (deck.device != nullptr) ::hid_close(deck.device);
    deck.device = nullptr;
}

} // namespace elvantris::operator_control
