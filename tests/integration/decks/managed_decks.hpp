// The real manager, on its real thread, between decks without a bus and two scripted servers: Main
// M and Backup B, both ready.
#pragma once

#include "deck_server.hpp"
#include "decks/operator_deck_manager.hpp"
#include "integration/support/captured_log.hpp"
#include "integration/support/recording_decks.hpp"
#include "integration/support/temporary_folder.hpp"
#include "os/process.hpp"

#include <gtest/gtest.h>

#include <condition_variable>
#include <exception>
#include <optional>
#include <sstream>
#include <stdexcept>

namespace elvantris::operator_control {

// Counts the manager's passes, and holds one up where it asks for the decks: behind its look at the
// registry and before its calls.
class paced_decks : public recording_decks {
public:
    std::vector<deck_info> list_decks() override {
        std::unique_lock lock(pace_mutex_);
        ++passes_;
        changed_.notify_all();
        changed_.wait(lock, [this] { return !held_; });
        if (failure_) std::rethrow_exception(std::exchange(failure_, {}));
        return recording_decks::list_decks();
    }
    bool show_splash(const std::string& serial) override {
        recording_decks::show_splash(serial);
        if (serial == "throwing") throw std::runtime_error("no splash today");
        return true;
    }

    std::size_t passes() const {
        const std::lock_guard lock(pace_mutex_);
        return passes_;
    }
    template<typename failure>
    void fail_next_pass(failure with) {
        const std::lock_guard lock(pace_mutex_);
        failure_ = std::make_exception_ptr(with);
    }
    // Returns with a pass held up.
    void hold() {
        std::unique_lock lock(pace_mutex_);
        held_ = true;
        const std::size_t before = passes_;
        changed_.wait(lock, [&] { return passes_ > before; });
    }
    void release() {
        const std::lock_guard lock(pace_mutex_);
        held_ = false;
        changed_.notify_all();
    }

private:
    mutable std::mutex pace_mutex_; // guards all below
    std::condition_variable changed_;
    std::size_t passes_ = 0;
    bool held_ = false;
    std::exception_ptr failure_;
};

class managed_decks : public testing::Test {
protected:
    managed_decks() {
        know({"M", "B"});
        registry.configure(true, "M", "B");
        make_ready({"M", "B"});
    }

    // The servers M, B and I, each under its own port, answer a discovery.
    void know(const std::vector<std::string>& serials) {
        std::vector<discovered_server> servers;
        for (const std::string& serial : serials)
            servers.push_back({.address = "127.0.0.1",
                               .webPort = server(serial).port(),
                               .workstation = "WS-" + serial,
                               .serial = serial});
        registry.merge_discovered(servers, steady_time(std::chrono::hours(1)));
    }
    void make_ready(const std::vector<std::string>& serials, bool ready = true) {
        for (const std::string& serial : serials)
            registry.set_ui_ready(serial, ready);
    }
    // Protection moves the pair to this member; an unknown one leaves no active server.
    void move_to(const std::string& serial) { registry.set_active_override(true, serial); }

    deck_server& server(const std::string& serial) {
        if (serial == "M") return main;
        return serial == "B" ? backup : independent;
    }

    void start() { ASSERT_TRUE(manager->start()); }
    // Until so many passes have run from their beginning to their end.
    void wait_for_passes(std::size_t count) {
        const std::size_t wanted = decks.passes() + count + 1;
        ASSERT_TRUE(eventually([&] { return decks.passes() >= wanted; }));
    }
    // What a server says next, and the passes that it takes to have said it.
    void show(deck_server& from, const std::string& state) {
        from.show(state);
        wait_for_passes(1);
    }

    // The standard output, but not the lines that come back every two seconds.
    std::string told() const {
        std::istringstream text(log.output());
        std::string kept;
        for (std::string line; std::getline(text, line);)
            if (!line.starts_with("[streamdeck] registered ")) kept += line + '\n';
        return kept;
    }
    std::string key_event(const std::string& serial, int key, bool down) const {
        return "KeyEvent {\"SessionId\":\"" + session + "\",\"Serial\":\"" + serial +
               "\",\"Index\":" + std::to_string(key) + ",\"IsDown\":" + (down ? "true" : "false") +
               '}';
    }
    std::string page_call(const std::string& serial, int page) const {
        return "SetPage {\"SessionId\":\"" + session + "\",\"Serial\":\"" + serial +
               "\",\"Page\":" + std::to_string(page) + '}';
    }
    std::string detach_call() const { return "Detach {\"SessionId\":\"" + session + "\"}"; }
    std::string register_call(const std::string& deck_list = {}) const {
        return "Register {\"SessionId\":\"" + session + "\",\"MachineName\":\"" + host_name() +
               "\",\"Decks\":[" + deck_list + "]}";
    }

    const std::string session = "operator-control-" + host_name();
    captured_log log;
    temporary_folder folder;
    controller_registry registry{folder.file("operator-control.json")};
    deck_server main;
    deck_server backup;
    deck_server independent;
    paced_decks decks;
    // The last to be made and the first to go: its thread uses all of the above.
    std::optional<operator_deck_manager> manager{std::in_place, registry, decks};
};

} // namespace elvantris::operator_control
