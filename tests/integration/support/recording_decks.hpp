// Decks without a bus: the test says which are attached and presses their keys; what is painted is
// written down, one line a call.
#pragma once

#include "decks/streamdeck_adapter.hpp"

#include <algorithm>
#include <mutex>

namespace elvantris::operator_control {

class recording_decks : public streamdeck_adapter {
public:
    bool start() override { return true; }
    void stop() override {}

    std::vector<deck_info> list_decks() override {
        const std::lock_guard lock(mutex_);
        return decks_;
    }
    bool set_key_image(const std::string& serial, std::int32_t key,
                       std::string_view image) override {
        return note(serial, "image " + std::to_string(key) + ' ' + std::string(image));
    }
    bool clear_key(const std::string& serial, std::int32_t key) override {
        return note(serial, "clear " + std::to_string(key));
    }
    bool clear_all_keys(const std::string& serial) override { return note(serial, "clear all"); }
    bool show_splash(const std::string& serial) override { return note(serial, "splash"); }
    void set_key_handler(deck_key_handler handler) override {
        const std::lock_guard lock(mutex_);
        handler_ = std::move(handler);
    }

    void attach(deck_info deck) {
        const std::lock_guard lock(mutex_);
        decks_.push_back(std::move(deck));
        std::ranges::sort(decks_, {}, &deck_info::serial);
    }
    // Calls the handler on the caller's thread; nothing happens before there is one.
    void press(const std::string& serial, std::int32_t key, bool down) {
        const deck_key_handler handler = [this] {
            const std::lock_guard lock(mutex_);
            return handler_;
        }();
        if (handler) handler(serial, key, down);
    }
    // "serial image 3 bytes", "serial clear 3", "serial splash"; also for decks that aren't there.
    std::vector<std::string> calls() const {
        const std::lock_guard lock(mutex_);
        return calls_;
    }

private:
    bool note(const std::string& serial, const std::string& call) {
        const std::lock_guard lock(mutex_);
        calls_.push_back(serial + ' ' + call);
        return std::ranges::any_of(decks_,
                                   [&](const deck_info& deck) { return deck.serial == serial; });
    }

    mutable std::mutex mutex_; // guards all below
    std::vector<deck_info> decks_;
    deck_key_handler handler_;
    std::vector<std::string> calls_;
};

} // namespace elvantris::operator_control
