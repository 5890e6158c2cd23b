#include "decks/deck_bus.hpp"

#include "decks/deck_vendor.hpp"
#include "decks/hid_text.hpp"

#include <hidapi.h>

#include <algorithm>
#include <memory>
#include <utility>

namespace elvantris::operator_control {
namespace {

deck_on_bus described(const hid_device_info& entry) {
    deck_on_bus deck{.path = entry.path == nullptr ? "" : entry.path,
                     .serial = narrow(entry.serial_number),
                     .name = narrow(entry.product_string),
                     .product_id = entry.product_id,
                     .model = find_deck_model(entry.product_id)};
    if (deck.name.empty() && deck.model != nullptr) deck.name = deck.model->name;
    return deck;
}

struct hidapi_use {
    hidapi_use() : started(::hid_init() == 0) {}
    ~hidapi_use() {
        if (started) ::hid_exit();
    }
    hidapi_use(const hidapi_use&) = delete;
    hidapi_use& operator=(const hidapi_use&) = delete;
    hidapi_use(hidapi_use&&) = delete;
    hidapi_use& operator=(hidapi_use&&) = delete;

    const bool started;
};

} // namespace

std::optional<std::vector<deck_on_bus>> list_decks_on_bus() {
    const hidapi_use hidapi;
    if (!hidapi.started) return std::nullopt;
    // A shared pointer, for a unique one would not give an empty list back.
    const std::shared_ptr<hid_device_info> devices(::hid_enumerate(deck_vendor_id, 0),
                                                   ::hid_free_enumeration);
    std::vector<deck_on_bus> decks;
    for (const hid_device_info* entry = devices.get(); entry != nullptr; entry = entry->next) {
        deck_on_bus deck = described(*entry);
        if (std::ranges::find(decks, deck.path, &deck_on_bus::path) == decks.end())
            decks.push_back(std::move(deck));
    }
    return decks;
}

} // namespace elvantris::operator_control
