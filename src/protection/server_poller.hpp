// Polls the two servers of a pair, each on a thread of its own, so that neither poll waits for the
// other.
//
// Threads: `start`, `stop`, `ask` and `wait_until` belong to one thread. The two threads inside do
//   nothing but poll, and use no lock but this object's.
// Failure: `start` throws if the threads can't be made, and then neither is running. A poll that
//   runs out of memory ends as `poll_outcome::no_resources`.
#pragma once

#include "os/clock.hpp"
#include "os/lock.hpp"
#include "protection/evaluation.hpp"
#include "protection/health_poll.hpp"
#include "systems/system_record.hpp"

#include <array>
#include <condition_variable>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>

namespace elvantris::operator_control {

struct poll_order {
    system_record system;
    std::uint32_t stall_ms = 0;
};

struct finished_order {
    std::string serial;
    health_answer answer;
};

class server_poller {
public:
    server_poller() = default;
    ~server_poller();
    server_poller(const server_poller&) = delete;
    server_poller& operator=(const server_poller&) = delete;
    server_poller(server_poller&&) = delete;
    server_poller& operator=(server_poller&&) = delete;

    void start();
    // Waits for the polls that are under way. Safe to repeat.
    void stop();

    // Call it only after `take` has returned the side's last poll.
    void ask(pair_side side, poll_order order);
    // Returns at that time, or as soon as there is something to take.
    void wait_until(steady_time time);
    std::optional<finished_order> take(pair_side side);

private:
    struct desk {
        std::optional<poll_order> order;
        std::optional<finished_order> finished;
        std::condition_variable ordered; // also woken by the stop
    };

    void run(pair_side side);
    desk& at(pair_side side) REQUIRES(lock_) { return desks_[side == pair_side::main ? 0 : 1]; }

    checked_mutex lock_;
    std::condition_variable finished_;
    std::array<desk, 2> desks_ GUARDED_BY(lock_); // Main's, Backup's
    bool stopping_ GUARDED_BY(lock_) = false;
    std::array<std::thread, 2> threads_;
};

} // namespace elvantris::operator_control
