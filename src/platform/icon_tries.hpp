// When the tray's icon is to be added again: a shell that isn't there yet at logon, or that is too
// busy, refuses it.
//
// Pure: time comes in. Threads: one at a time.
#pragma once

#include "os/clock.hpp"

namespace elvantris::operator_control {

class icon_tries {
public:
    // To be called with the time at which the try ended: a busy shell holds it for seconds.
    void tried(bool shown, steady_time ended) {
        missing_ = !shown;
        next_ = ended + pause_between_tries;
    }
    bool due(steady_time now) const { return missing_ && now >= next_; }
    // None is wanted any more.
    void removed() { missing_ = false; }

private:
    static constexpr milliseconds pause_between_tries{1000};

    bool missing_ = false;
    steady_time next_;
};

} // namespace elvantris::operator_control
