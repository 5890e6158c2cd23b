// The workstations' decks as a server keeps them: who offered which, the page of each, and what
// has been drawn anew since when.
//
// Threads: any. Images are drawn outside the lock.
// Limits: 100 sessions, 100 decks each; the records keep the last 10,000 key events and pages set.
#pragma once

#include "key_drawing.hpp"
#include "switches.hpp"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace elvantris::simulator {

class deck_sessions {
public:
    deck_sessions(std::string server_name, std::string server_serial);

    // Every deck is drawn anew if they have changed.
    void set_switches(const deck_switches& wanted);

    // The calls. The number is the status of the answer: 200, 400 for a body that cannot be read,
    // or 404 for a session, deck or key that is not known.
    int register_decks(const nlohmann::ordered_json& request);
    int key_event(const nlohmann::ordered_json& request);
    int set_page(const nlohmann::ordered_json& request);
    int detach(const nlohmann::ordered_json& request);
    nlohmann::ordered_json state(const std::string& session_id, std::int64_t since) const;

    nlohmann::ordered_json report() const;
    void forget_records();

private:
    struct held_deck {
        std::string offer; // its JSON as it came
        image_form form;
        std::vector<std::int64_t> drawn; // by key: the generation of its last change
        std::vector<bool> held;
    };
    struct session {
        std::string machine_name;
        std::int64_t registrations = 0;
        std::map<std::string, held_deck> decks; // by serial
    };
    // A key whose image is still to be made.
    struct key_to_draw {
        key_content content;
        image_form form;
        bool empty = false;
        bool broken = false;
    };
    struct deck_to_draw {
        std::string serial;
        int page = 1;
        bool use_splash = false;
        std::vector<key_to_draw> keys;
    };

    held_deck* find(const nlohmann::ordered_json& request);
    int page_of(const std::string& serial) const;
    void turn_to(const std::string& serial, int page);
    void touch(held_deck& deck);
    deck_to_draw changes(const std::string& serial, const held_deck& deck,
                         std::int64_t since) const;
    static nlohmann::ordered_json drawn(const deck_to_draw& deck);

    const std::string server_name_;
    const std::string server_serial_;
    mutable std::mutex mutex_; // guards everything below
    deck_switches switches_;
    std::int64_t generation_ = 0;
    std::map<std::string, session> sessions_;
    std::map<std::string, int> pages_; // by deck; a page outlives the session
    std::deque<nlohmann::ordered_json> key_events_;
    std::deque<nlohmann::ordered_json> pages_set_;
    std::vector<std::string> detached_;
};

} // namespace elvantris::simulator
