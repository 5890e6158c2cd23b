// What Redundancy Control says about itself, as far as a rehearsal needs it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace elvantris::rehearsal {

struct seen_server {
    std::string serial;
    std::string role;
    std::string address{};
    bool online = false;
    bool ready = false;   // its web application is the one that is expected
    bool healthy = false; // polled a moment ago, and its engine runs and answers
};

struct seen_alert {
    std::string message;
    bool acknowledged = false;
};

struct program_view {
    bool answers = false;
    bool enabled = false; // the pair
    bool armed = false;
    bool held_on_backup = false;
    std::string active_serial; // empty: no server is active
    std::uint16_t page_port = 0;
    std::vector<seen_server> servers{};
    std::vector<seen_alert> alerts{}; // warnings and worse that are active
    bool in_sync = false;             // Backup has Main's show
    bool moved_by_hand = false;       // the operator has moved operation to Backup
    std::string config_path{};
    bool uses_show_settings = false; // not read from the answer: who asks compares the path

    // Null if there is none.
    const seen_server* find(std::string_view serial) const;
    const seen_server* in_role(std::string_view role) const;
    bool is_active(std::string_view role) const;
};

// Reads an answer of /api/status. Any other text gives the view of a program that doesn't
// answer. Pure.
program_view read_status(const std::string& text);

// The server that the audience sees. A switcher follows the pair, and stays where it was when the
// pair says nothing. Empty until a pair has been on air. Pure.
std::string follow_pair(const std::string& shown, const program_view& view);

} // namespace elvantris::rehearsal
