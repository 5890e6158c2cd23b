// The tray's events while a refresh pass waits for the network: when they are due, and whether what
// the pass has read before them is still fresh.
//
// Pure: time comes in. Threads: one at a time.
#pragma once

#include "os/clock.hpp"

namespace elvantris::operator_control {

inline constexpr milliseconds event_period{50};

class pass_events {
public:
    bool due(steady_time now) const { return now >= next_; }

    // A menu holds them for as long as it is open. What the pass has read is as old as that then,
    // and must not be written back: the next pass reads it anew.
    void ran(steady_time begun, steady_time ended) {
        if (ended - begun > longest_run) stale_ = true;
        next_ = ended + event_period;
    }
    bool stale() const { return stale_; }

private:
    static constexpr milliseconds longest_run{500};

    steady_time next_ = steady_time::min();
    bool stale_ = false;
};

} // namespace elvantris::operator_control
