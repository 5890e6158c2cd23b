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
};

struct scenario {
    std::string_view title;
    std::string_view about;
    bool needs_pair = true; // the pair is ready, armed, and on Main
    std::span<const step> steps;
};

std::span<const scenario> all_scenarios();

// Why this scenario can't begin now, in a sentence; empty if it can.
std::string why_not_yet(const scenario& card, const program_view& view);

// One scenario being played. Its steps are done in their order.
class scenario_run {
public:
    // `chance` is from 0 to 1, and chooses all times within their limits.
    scenario_run(std::size_t number, double chance, steady_time now);

    // The deed that is due, if any. To be called again and again.
    std::optional<deed> advance(const program_view& view, steady_time now);

    std::size_t number() const { return number_; }
    bool is_over() const;
    // How long each step that is done took.
    const std::vector<milliseconds>& took() const { return took_; }
    // What the operator's own steps took together.
    milliseconds reaction() const;

private:
    std::span<const step> steps() const;
    bool is_done(const step& next, const program_view& view, steady_time now) const;

    std::size_t number_;
    double chance_;
    steady_time step_began_;
    std::vector<milliseconds> took_;
};

} // namespace elvantris::rehearsal
