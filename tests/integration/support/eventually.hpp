#pragma once

#include "os/clock.hpp"

#include <thread>

namespace elvantris::operator_control {

// For a machine that is busy with other things as well; what comes sooner ends the wait at once.
inline constexpr milliseconds patience{60'000};

// Looks again and again until it holds; false if it doesn't in time.
template<typename condition>
bool eventually(const condition& holds, milliseconds limit = patience) {
    const steady_time deadline = steady_now() + limit;
    while (!holds()) {
        if (steady_now() >= deadline) return false;
        std::this_thread::sleep_for(milliseconds(2));
    }
    return true;
}

// For figures that a busy machine can spoil: makes an attempt again that came too late, so often
// and no more.
template<typename act>
bool in_time(const act& attempt) {
    for (int tries = 0; tries < 5; ++tries)
        if (attempt()) return true;
    return false;
}

} // namespace elvantris::operator_control
