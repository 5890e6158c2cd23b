// Which server the monitor polls in a cycle, and when the answers may be judged.
//
// A cycle asks both servers and waits for both. Four things make that safe:
// - While one server is awaited the other is polled again every 250 ms, so that its answer doesn't
//   get too old. The cycle doesn't wait for such a poll; if it is still under way when the next
//   cycle begins, it is that cycle's poll. If it has ended by then, that server is polled next
//   250 ms after it, or when the slow one has answered. So a slow server doesn't double the polls
//   of a fast one.
// - After a pause of the program (a stop, a sleep, a long wait for a lock) both servers are polled
//   again: polls from before it aren't judged. One that fails then is repeated once: the last
//   answer is so old that a single lost poll would count as a lost server.
// - When both were silent and one answers again, the other is polled again before it counts as
//   missing: they may be coming back one after the other.
// - A poll for which the workstation has no descriptor, buffer or memory says nothing about a
//   server. It is repeated.
//
// Pure: time and outcomes come in. Threads: one at a time.
#pragma once

#include "os/clock.hpp"
#include "protection/evaluation.hpp"
#include "protection/health_poll.hpp"

#include <algorithm>
#include <array>
#include <optional>

namespace elvantris::operator_control {

class poll_round {
public:
    // What a cycle finds on one side.
    enum class target {
        none,    // nobody to ask
        known,   // the one that was asked before
        changed, // another server, or another address
    };

    void begin(target main, target backup, steady_time now);
    // Records that the monitor is running. Call it before each of the questions below.
    void look(steady_time now);

    bool wants_poll(pair_side side, steady_time now) const;
    void asked(pair_side side, steady_time now);
    void ended(pair_side side, poll_outcome outcome);

    bool may_judge() const;
    void judged();
    // The monitor rests until the next cycle. A cycle that has lasted longer than its period is
    // followed at once by the next one, and doesn't count as a pause.
    void rest(steady_time until) { due_ = std::max(until, due_); }
    workstation_trouble trouble() const;

    // The latest moment of the next look while the cycle lasts.
    steady_time rest_until() const;

private:
    struct finished_poll {
        steady_time asked;
        poll_outcome outcome = poll_outcome::unanswered;
    };
    struct side_state {
        bool present = false;
        bool under_way = false;
        bool foreign = false; // the poll under way asks another server than this cycle does
        bool ahead = false;   // the latest poll was asked during a cycle, not at its start
        steady_time asked;    // the latest poll's time
        std::optional<finished_poll> last;   // what this cycle has heard
        std::optional<steady_time> answered; // when the first good poll of this cycle was asked
        int starved = 0;                     // repeated in this cycle: no resources
        int repeated = 0;                    // polls repeated since the latest pause
    };

    static void enter(side_state& state, target found);
    const side_state& at(pair_side side) const { return sides_[side == pair_side::main ? 0 : 1]; }
    side_state& at(pair_side side) { return sides_[side == pair_side::main ? 0 : 1]; }
    const side_state& other_than(const side_state& state) const {
        return &state == sides_.data() ? sides_[1] : sides_[0];
    }
    bool stale(const side_state& state) const;
    bool to_be_repeated(const side_state& state) const;
    bool may_be_coming_back(const side_state& state) const;
    bool settled(const side_state& state) const;
    bool may_wait(const side_state& state) const;
    steady_time next_poll(const side_state& state) const;

    std::array<side_state, 2> sides_; // Main, Backup
    bool both_were_silent_ = false;   // in the cycle before
    steady_time undisturbed_since_;
    steady_time due_; // when the next look was meant to come
    int pauses_ = 0;
};

} // namespace elvantris::operator_control
