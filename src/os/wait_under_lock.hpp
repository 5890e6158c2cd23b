// Waiting under a lock for what another thread does, for no longer than the caller's limits say.
#pragma once

#include "os/call_limits.hpp"

#include <algorithm>
#include <condition_variable>
#include <mutex>

namespace elvantris::operator_control {

// True as soon as `ready` returns true (called under the lock); false if the limits end first.
// The lock is free during the wait, and while the caller is asked whether it gives up.
template<typename condition>
bool wait_under_lock(std::unique_lock<std::mutex>& lock, std::condition_variable& wake_up,
                     const call_limits& limits, const condition& ready) {
    while (!ready()) {
        lock.unlock();
        const bool over = limits.over();
        lock.lock();
        if (over) return ready();
        wake_up.wait_until(lock, std::min(limits.deadline, steady_now() + longest_unasked_wait),
                           ready);
    }
    return true;
}

} // namespace elvantris::operator_control
