// What ends a call while it waits: a deadline, and a caller that no longer wants the answer. Passed
// down from the caller that knows both to the function that waits.
//
// Threads: a value; `given_up` is asked on the waiting thread and must be safe there.
#pragma once

#include "os/clock.hpp"

#include <algorithm>
#include <functional>

namespace elvantris::operator_control {

// No wait goes on for longer than this without asking whether it is still wanted.
inline constexpr milliseconds longest_unasked_wait{100};

struct call_limits {
    steady_time deadline = steady_time::max();
    // True cancels the call. Empty: it is never cancelled. May do small work on the waiting thread.
    std::function<bool()> given_up;

    bool is_given_up() const { return given_up && given_up(); }
    bool over() const { return is_given_up() || steady_now() >= deadline; }

    // The same limits, and no later than `longest` from now.
    call_limits within(milliseconds longest) const {
        return {.deadline = std::min(deadline, steady_now() + longest), .given_up = given_up};
    }
};

} // namespace elvantris::operator_control
