#pragma once

#include "os/clock.hpp"

#include <chrono>
#include <map>
#include <string>

namespace elvantris::operator_control {

// Confirms conditions over their delays: a fault counts once its condition has been seen true for
// long enough without a break. One clean look ends it; there is no delay on recovery.
//
// Pure: time comes in. Not safe for several threads at once; its owner's lock guards it.
class fault_timers {
public:
    // Whether the condition of this key is confirmed at `now`. A delay of 0 confirms at once and
    // remembers nothing: a key's delay is either always 0 or never.
    bool confirm(const std::string& key, bool condition, std::chrono::milliseconds delay,
                 steady_time now);
    void clear() { first_seen_.clear(); }

private:
    std::map<std::string, steady_time> first_seen_; // one entry for each standing condition
};

} // namespace elvantris::operator_control
