// Connects the decks on this workstation with the servers, which own what a deck shows and what a
// key does: registers the decks, paints what the server with the display authority draws, reports
// the keys to both servers of a pair, and takes the pages along when the authority moves.
//
// Threads: one of its own, which makes every call to a server, one after another. `start` and
//   `stop` belong to one thread. The adapter's thread only queues the keys here.
// Ownership: `registry` and `adapter` outlive it; the adapter has been stopped before its end.
// Failure: a server that can't be reached costs its time-outs and nothing more.
#pragma once

#include "decks/deck_session.hpp"
#include "decks/operator_deck_client.hpp"
#include "decks/streamdeck_adapter.hpp"
#include "os/clock.hpp"
#include "systems/controller_registry.hpp"

#include <atomic>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace elvantris::operator_control {

struct deck_key_event {
    std::string serial; // the deck's
    std::int32_t key = 0;
    bool down = false;
};

class operator_deck_manager {
public:
    operator_deck_manager(controller_registry& registry, streamdeck_adapter& adapter);
    operator_deck_manager(const operator_deck_manager&) = delete;
    operator_deck_manager& operator=(const operator_deck_manager&) = delete;
    operator_deck_manager(operator_deck_manager&&) = delete;
    operator_deck_manager& operator=(operator_deck_manager&&) = delete;
    ~operator_deck_manager();

    // True, also if it runs already. If there is no thread the system's error is thrown, and the
    // manager is as it was before.
    bool start();
    // Waits for the pass under way, which gives its calls up after 400 ms, then tells every ready
    // server, all within 400 ms more. Safe to repeat.
    void stop();

private:
    void work();
    // Of every call in a pass: given up some time after the stop.
    call_limits limits() const;
    void run_pass();
    void run_guarded_pass();
    void register_decks(const std::vector<system_record>& systems,
                        const std::vector<deck_info>& decks);
    void settle_authority(const std::optional<system_record>& active);
    void hand_over_pages(const system_record& to);
    void poll(const system_record& server, bool has_authority,
              const std::vector<deck_info>& attached);
    void apply(deck_state_reply& reply, server_deck_session& session, bool has_authority,
               const std::vector<deck_info>& attached);
    void paint(const std::string& serial, bool use_splash, const std::vector<deck_key_image>& keys);
    void drain_keys();
    void deliver(const deck_key_event& event);
    bool deliver_to_pair(const std::vector<system_record>& systems, const deck_key_event& event);
    bool send_key(const system_record& server, const deck_key_event& event);

    controller_registry& controller_;
    streamdeck_adapter& adapter_;
    operator_deck_client client_;
    std::string machine_name_;
    std::string session_id_;
    std::atomic<bool> running_{false};
    std::atomic<steady_time> given_up_from_{steady_time::max()};
    std::thread worker_;
    // Guards `sessions_` and `key_queue_`. No server is called under it; the decks are painted
    // under it, so that a key can wait for as long as a deck takes to paint.
    std::mutex mutex_;
    std::map<std::string, server_deck_session> sessions_; // by the server's serial
    std::deque<deck_key_event> key_queue_; // bounded by what fingers can do in one pass
    // The worker's own: the serial of the server whose drawing the decks show, empty for none.
    std::string display_authority_;
    steady_time next_registration_; // the worker's own
};

} // namespace elvantris::operator_control
