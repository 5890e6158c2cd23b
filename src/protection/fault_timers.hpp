#pragma once

#include "os/clock.hpp"

#include <chrono>
#include <map>
#include <string>

namespace elvantris::operator_control {

// Confirms conditions over their delays: a fault counts once its condition has been seen true for
// long enough without a break. The first check without the condition ends it, without a delay.
//
// Pure: time comes in. Not safe for several threads at once; its owner's lock guards it.
class fault_timers {
public:
    // Whether the condition of this key is confirmed at `now`. A delay of 0 confirms at once and
    // stores nothing: for one key the delay must be 0 always or never.
    bool confirm(const std::string& key, bool condition, std::chrono::milliseconds delay,
                 steady_time now);
    void clear() { first_seen_.clear(); }

private:
    std::map<std::string, steady_time> first_seen_; // one entry for each standing condition
};

} // namespace elvantris::operator_control
