// The scenario cards: what a rehearsal does to the servers, what the program and the operator do
// then, and how long each step took.
//
// Pure: takes the time and the program's view, returns what to do.
#pragma once

#include "rehearsal/program_view.hpp"
#include "rehearsal/troubles.hpp"

#include <chrono>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace elvantris::rehearsal {

using steady_time = std::chrono::steady_clock::time_point;
using std::chrono::milliseconds;

enum class actor { rehearsal, program, you };

// A trouble that begins or ends, on the server that has this role.
struct deed {
    std::string_view role;
    std::string_view trouble;
    bool on = false;
};

// The same on the server that had the role when the trouble began.
struct server_change {
    std::string serial;
    std::string_view trouble;
    bool on = false;
};

struct step {
    actor who = actor::program;
    std::string_view text;
    // Of the program and of the operator: whether it has happened.
    bool (*is_done)(const program_view&) = nullptr;
    // Of the rehearsal: what it does, some time after the step before. The time differs within
    // these limits, so that nobody learns it by heart.
    deed what = {};
    milliseconds soonest{0};
    milliseconds latest{0};
    // Why it can't happen any more, in sentences for the operator; empty if it can.
    std::string_view (*why_missed)(const program_view&) = nullptr;
};

struct scenario {
    std::string_view title;
    std::string_view about;
    bool needs_pair = true; // the pair is ready, armed, and on Main
    std::span<const step> steps;
};

std::span<const scenario> all_scenarios();

inline constexpr std::string_view show_settings_warning =
    "Redundancy Control uses your show's settings. End it and start it as in step 4.";

// Why this scenario can't begin now, in sentences for the operator; empty if it can. `switched_on`
// is a server with its trouble, "Rehearsal server B: The engine crashes", or empty.
std::string why_not_yet(const scenario& card, const program_view& view,
                        std::string_view switched_on);

// One scenario being played. Its steps are done in their order. It ends early when the next step
// can't happen any more, or when the program has ended.
class scenario_run {
public:
    // `chance` is from 0 to 1, and chooses all times within their limits.
    scenario_run(std::size_t number, double chance, steady_time now);

    // The change that is due, if any. To be called again and again.
    std::optional<server_change> advance(const program_view& view, steady_time now);

    std::size_t number() const { return number_; }
    bool is_over() const;
    // What this scenario has broken and not yet repaired.
    const std::optional<server_change>& broken() const { return broken_; }
    // The operator has ended that trouble. The scenario ends if the program was still to see it.
    void note_trouble_gone();
    // Why it ended early; empty if it didn't.
    std::string_view why_ended() const { return why_ended_; }
    // How long each step that is done took.
    const std::vector<milliseconds>& took() const { return took_; }
    // What the operator's own steps took together, without those that needed nothing.
    milliseconds reaction() const { return reaction_; }

private:
    std::span<const step> steps() const;
    std::string_view why_impossible(const program_view& view, steady_time now) const;
    bool is_done(const step& next, const program_view& view, steady_time now) const;
    void finish_step(steady_time now);
    std::optional<server_change> break_server(const deed& what, const program_view& view);
    std::optional<server_change> repair_server();

    std::size_t number_;
    double chance_;
    steady_time step_began_;
    std::optional<steady_time> heard_; // when the program answered last
    bool waited_ = false;              // the next step has been seen not done
    std::vector<milliseconds> took_;
    milliseconds reaction_{0};
    std::optional<server_change> broken_;
    std::string_view why_ended_;
};

} // namespace elvantris::rehearsal
