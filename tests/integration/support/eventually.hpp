#pragma once

#include "os/clock.hpp"

#include <thread>

namespace elvantris::operator_control {

// Looks again and again until it holds; false if it doesn't in time.
template<typename condition>
bool eventually(const condition& holds, milliseconds limit = milliseconds(10'000)) {
    const steady_time deadline = steady_now() + limit;
    while (!holds()) {
        if (steady_now() >= deadline) return false;
        std::this_thread::sleep_for(milliseconds(2));
    }
    return true;
}

} // namespace elvantris::operator_control
