// Whose turn it is to write the pairing to Main. Two runs at once could overwrite the newer pairing
// with the older one, so there is one at a time, and an operator's save comes before a refresh
// pass.
//
// Threads: any. A turn belongs to the thread that took it.
// Ownership: a turn must not outlive its `pairing_turns`.
#pragma once

#include "os/call_limits.hpp"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <optional>

namespace elvantris::operator_control {

class pairing_turns {
public:
    // Ends with its owner.
    class turn {
    public:
        explicit turn(pairing_turns& turns) : turns_(&turns) {}
        ~turn();
        turn(turn&& other) noexcept;
        turn& operator=(turn&&) = delete;
        turn(const turn&) = delete;
        turn& operator=(const turn&) = delete;

    private:
        pairing_turns* turns_;
    };

    // For a pass, which is repeated anyway: absent while another run is under way or a save waits.
    std::optional<turn> take_if_free();

    // For a save: absent if the limits are over first.
    std::optional<turn> wait_for(const call_limits& limits);

    // Whether the run of a pass should stop for a save.
    bool save_waits() const { return waiting_saves_ != 0; }

private:
    std::mutex lock_; // guards `taken_`
    std::condition_variable freed_;
    bool taken_ = false;
    std::atomic<int> waiting_saves_{0};
};

} // namespace elvantris::operator_control
