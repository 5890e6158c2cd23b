// All that one simulated server knows, behind one lock.
//
// Threads: any. Every reader gets a copy.
// Limits: the records keep the last 10,000 commands and the first 500 different paths,
//   with the moments of the last 400 calls of each.
#pragma once

#include "deck_sessions.hpp"
#include "event_model.hpp"
#include "received_bytes.hpp"
#include "server_options.hpp"
#include "switches.hpp"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <string>

namespace elvantris::simulator {

// What the replies are made of, as of one moment.
struct server_view {
    std::string serial;
    std::string workstation;
    switches broken;
    std::int64_t frame_age_ms = 0;
    std::string event_model;
    std::optional<pairing> pair;
    std::int64_t revision = 0;
};

// One event model on its way from a Main to its Backup.
struct replica {
    std::string event_model;
    std::int64_t revision = 0;
    std::int64_t written_at = 0; // wall clock, microseconds; of two pairings the later one holds
};

// What a Main has to send now.
struct replication_work {
    replica content;
    std::set<std::string> addresses;
};

struct call_record {
    std::int64_t count = 0;
    std::deque<std::int64_t> times_microseconds; // wall clock
    std::string last_head;
    std::string last_body;
};

class server_state {
public:
    explicit server_state(server_options options);

    const server_options& options() const noexcept { return options_; }
    server_view view() const;
    switches broken() const;
    // Has a lock of its own.
    deck_sessions& decks() noexcept { return decks_; }
    // The fault of the request that has come to this path: its own, else that of every path. One
    // that was set for so many requests is gone behind the last.
    std::optional<answer_fault> next_fault(const std::string& path);

    void record_command(received_message message);
    void record_discovery_request();
    void record_call(const std::string& path, const std::string& head, const std::string& body);

    // Takes a model that a client has written, as a change of the show. False: it is no model.
    bool update_event_model(const std::string& text);
    // Takes what a Main has sent. False: it is paused, or an older pairing than the one here.
    bool accept_replica(const replica& offered);

    // Waits for the next round of replication, which a change of the model brings forward.
    void wait_for_replication(std::chrono::milliseconds period);
    void end_replication();
    replication_work replication_to_do() const;
    // A server that was Backup until now has learnt from what was sent that it no longer is.
    void released(const std::string& address, const replica& sent);

    // One control call's body: all of it takes effect, or nothing and switch_error is thrown.
    void control(const nlohmann::ordered_json& request);
    nlohmann::ordered_json report() const;

private:
    void apply_switches(const nlohmann::ordered_json& set, const switches& read);
    void store_new_model(const std::string& text);
    void forget_records();

    const server_options options_;
    deck_sessions decks_;
    mutable std::mutex mutex_; // guards everything below
    nlohmann::ordered_json switches_set_ = nlohmann::ordered_json::object();
    switches broken_;
    std::optional<std::chrono::steady_clock::time_point> frames_frozen_since_;

    std::string event_model_;
    std::string last_update_;
    std::int64_t model_updates_ = 0;
    std::int64_t revision_ = 0;
    std::int64_t written_at_ = 0;
    std::set<std::string> to_release_;
    bool replication_due_ = false;
    bool replication_ended_ = false;
    std::condition_variable replication_wake_up_;

    std::deque<received_message> commands_;
    std::int64_t command_count_ = 0;
    std::int64_t discovery_requests_ = 0;
    std::map<std::string, call_record> calls_;
};

} // namespace elvantris::simulator
