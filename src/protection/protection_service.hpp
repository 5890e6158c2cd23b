// Watches Main and Backup, and moves operation to Backup when Main fails.
//
// One monitor thread polls both servers four times a second and decides; one worker thread sends
// the outbound commands of a transfer. What they know stands in `pair_protection`.
//
// Threads: `start` and `stop` belong to the main thread; all else may be called from any thread,
//   and waits at most for one evaluation with its writes to disk.
// Locks: the service lock, then the registry's. It is held for an evaluation or an operator's act,
//   saving included, and never while polling or sending.
// Failure: operator's acts return false with the sentence to show in `error`.
#pragma once

#include "protection/pair_protection.hpp"
#include "systems/controller_registry.hpp"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace elvantris::operator_control {

class protection_service {
public:
    explicit protection_service(controller_registry& registry);
    ~protection_service();
    protection_service(const protection_service&) = delete;
    protection_service& operator=(const protection_service&) = delete;
    protection_service(protection_service&&) = delete;
    protection_service& operator=(protection_service&&) = delete;

    // Threads that can't be had are thrown as the system's error, and nothing is running then.
    void start();
    // Ends delays at once; a step that is being sent runs to its own time limit. Safe to repeat.
    void stop();

    // Replaces the whole policy by the one in `body`.
    bool replace_policy(std::string_view body, std::string& error);
    // "acknowledge", "arm", "disarm", "backup" or "main".
    bool operate(std::string_view operation, std::string& error);
    // Queues one saved action for delivery.
    bool test_action(std::int32_t index, std::string& error);

    std::string protection_status_json() const;

private:
    void monitor_loop();
    void run_cycle();
    // Asks and notes what came; true if the server answered.
    bool poll_health(const system_record& system, std::uint32_t stall_ms, milliseconds longest);
    void action_worker();
    void run_sequence(const outbound_sequence& sequence, std::unique_lock<std::mutex>& lock);
    bool send_step(const outbound_action& step, std::string& failure) const;

    controller_registry& registry_;
    mutable std::mutex lock_; // guards `protection_`; disk writes of its acts happen under it
    std::condition_variable wake_up_; // a stop, or a sequence in the queue; each waiter looks
    std::atomic<bool> running_{false};
    pair_protection protection_;
    std::thread monitor_;
    std::thread worker_;
};

} // namespace elvantris::operator_control
