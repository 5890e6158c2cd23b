#include "protection/poll_round.hpp"

#include <algorithm>
#include <utility>

namespace elvantris::operator_control {
namespace {

constexpr milliseconds poll_period{250};
constexpr milliseconds look_period{50};
// If a look comes later than this, the program was paused. On a busy machine the delay is shorter.
constexpr milliseconds pause_limit{100};
// After so many pauses in one cycle the monitor judges anyway.
constexpr int most_pauses = 3;
// How much later than the other a server may come back.
constexpr milliseconds return_gap{300};
constexpr milliseconds quick_repeat{50};
constexpr int most_starved = 3;
// After a pause the last answer may be as old as the loss time, and then one lost poll would count
// as a lost server.
constexpr int repeats_behind_a_pause = 1;

bool own_fault(poll_outcome outcome) {
    return outcome == poll_outcome::no_network || outcome == poll_outcome::no_resources;
}

} // namespace

void poll_round::enter(side_state& state, target found) {
    const bool same = found == target::known;
    state = {.present = found != target::none,
             .under_way = state.under_way,
             .foreign = same ? state.foreign : state.under_way,
             .ahead = same && state.ahead,
             .asked = state.asked,
             .last = {},
             .answered = {}};
}

void poll_round::begin(target main, target backup, steady_time now) {
    enter(sides_[0], main);
    enter(sides_[1], backup);
    if (main != target::known || backup != target::known) both_were_silent_ = false;
    pauses_ = 0;
    look(now);
}

void poll_round::look(steady_time now) {
    if (now > due_ + pause_limit && pauses_ < most_pauses) {
        ++pauses_;
        undisturbed_since_ = now;
        for (side_state& state : sides_) {
            state.answered.reset();
            state.repeated = 0;
        }
    }
    due_ = now + look_period;
}

// This cycle has no finished poll, or only one that began before the last pause.
bool poll_round::stale(const side_state& state) const {
    return !state.last || state.last->asked < undisturbed_since_;
}

bool poll_round::to_be_repeated(const side_state& state) const {
    switch (state.last->outcome) {
    case poll_outcome::answered:
        return false;
    case poll_outcome::no_resources:
        return state.starved < most_starved;
    case poll_outcome::unanswered:
    case poll_outcome::no_network:
        break;
    }
    return pauses_ > 0 && state.repeated < repeats_behind_a_pause;
}

bool poll_round::may_be_coming_back(const side_state& state) const {
    const side_state& other = other_than(state);
    return both_were_silent_ && !state.answered && other.answered &&
           state.last->asked < *other.answered + return_gap;
}

bool poll_round::settled(const side_state& state) const {
    return !state.present ||
           (!stale(state) && !to_be_repeated(state) && !may_be_coming_back(state));
}

// It was asked late in the previous cycle, and the other server hasn't answered in this one yet.
bool poll_round::may_wait(const side_state& state) const {
    return state.ahead && state.asked >= undisturbed_since_ && !settled(other_than(state));
}

steady_time poll_round::next_poll(const side_state& state) const {
    if (stale(state) && !may_wait(state)) return {};
    if (stale(state) || settled(state)) return state.asked + poll_period;
    return state.asked + quick_repeat;
}

bool poll_round::wants_poll(pair_side side, steady_time now) const {
    const side_state& state = at(side);
    return state.present && !state.under_way && !may_judge() && now >= next_poll(state);
}

void poll_round::asked(pair_side side, steady_time now) {
    side_state& state = at(side);
    if (!stale(state) && to_be_repeated(state))
        ++(state.last->outcome == poll_outcome::no_resources ? state.starved : state.repeated);
    state.ahead = settled(state) || may_wait(state);
    state.under_way = true;
    state.asked = now;
}

void poll_round::ended(pair_side side, poll_outcome outcome) {
    side_state& state = at(side);
    state.under_way = false;
    if (std::exchange(state.foreign, false)) return;
    state.last = {.asked = state.asked, .outcome = outcome};
    if (outcome == poll_outcome::answered && !state.answered && !stale(state))
        state.answered = state.asked;
}

bool poll_round::may_judge() const {
    return std::ranges::all_of(sides_, [this](const side_state& state) { return settled(state); });
}

void poll_round::judged() {
    both_were_silent_ = std::ranges::all_of(
        sides_, [](const side_state& state) { return state.present && !state.answered; });
}

workstation_trouble poll_round::trouble() const {
    const auto outcome_is = [](const side_state& state, auto condition) {
        return state.present && state.last && condition(state.last->outcome);
    };
    const auto starved = [](poll_outcome outcome) { return outcome == poll_outcome::no_resources; };
    const auto& [main, backup] = sides_;
    return {.holds_operation = outcome_is(main, starved) ||
                               (outcome_is(main, own_fault) && outcome_is(backup, own_fault)),
            .lacks_resources = outcome_is(main, starved) || outcome_is(backup, starved)};
}

steady_time poll_round::rest_until() const {
    steady_time rest = due_;
    for (const side_state& state : sides_)
        if (state.present && !state.under_way) rest = std::min(rest, next_poll(state));
    return rest;
}

} // namespace elvantris::operator_control
