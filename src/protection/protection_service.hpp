// Watches Main and Backup, and moves operation to Backup when Main fails.
//
// One monitor thread has both servers polled four times a second and decides; one worker thread
// sends the outbound commands of a transfer. Their state is in `pair_protection`; `poll_round`
// chooses which server to poll.
//
// Threads: `start` and `stop` belong to the main thread; all else may be called from any thread,
//   and waits at most for one evaluation with its writes to disk.
// Locks: the service lock, then the registry's. It is held for an evaluation or an operator's act,
//   saving included, and never while polling or sending.
// Failure: operator's acts return false with the sentence to show in `error`. A cycle that fails,
//   most likely for want of memory, ends and is reported as the monitor's error. 250 ms later the
//   next one judges again: the transfer comes 250 ms later, and is never lost or half done.
#pragma once

#include "os/lock.hpp"
#include "protection/pair_protection.hpp"
#include "protection/poll_round.hpp"
#include "protection/server_poller.hpp"
#include "systems/controller_registry.hpp"

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

namespace elvantris::operator_control {

class protection_service {
public:
    // Loads what is remembered. `given_up` ends the wait for a file that can't be read; nothing may
    // be started then.
    explicit protection_service(controller_registry& registry,
                                const std::function<bool()>& given_up = {});
    ~protection_service();
    protection_service(const protection_service&) = delete;
    protection_service& operator=(const protection_service&) = delete;
    protection_service(protection_service&&) = delete;
    protection_service& operator=(protection_service&&) = delete;

    // Throws the system's error if a thread can't be started; nothing is running then.
    void start();
    // Ends delays at once; a step that is being sent runs to its own time limit. Safe to repeat.
    void stop();

    // Replaces the whole policy by the one in `body`.
    bool replace_policy(std::string_view body, std::string& error);
    // "acknowledge", "arm", "disarm", "backup" or "main".
    bool operate(std::string_view operation, std::string& error);
    // Queues one saved action for delivery.
    bool test_action(std::int32_t index, std::string& error);

    protection_snapshot snapshot() const;
    std::string protection_status_json() const;

private:
    void monitor_loop();
    void run_cycle();
    void begin_round(std::optional<system_record> main, std::optional<system_record> backup);
    // Polls until the answers may be judged.
    void hear_both();
    void ask(pair_side side, steady_time now);
    // False if the lock came too late to judge what was heard.
    bool judge();
    void action_worker();
    // Waits for one; absent once the service is stopped.
    std::optional<outbound_sequence> next_sequence();
    void run_sequence(const outbound_sequence& sequence);
    // False if the service is stopped by then.
    bool rest_until(steady_time time);

    controller_registry& registry_;
    mutable checked_mutex lock_;      // also held while the state and the alert log are written
    std::condition_variable wake_up_; // a stop, or a queued sequence; each waiter checks which
    std::atomic<bool> running_{false};
    pair_protection protection_ GUARDED_BY(lock_);
    std::thread monitor_;
    std::thread worker_;

    // The monitor thread's own.
    poll_round round_;
    server_poller poller_;
    std::array<std::optional<system_record>, 2> targets_; // Main, Backup
};

} // namespace elvantris::operator_control
