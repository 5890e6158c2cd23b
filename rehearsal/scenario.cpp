#include "rehearsal/scenario.hpp"

#include <algorithm>
#include <array>

namespace elvantris::rehearsal {

namespace {

using std::chrono::seconds;

bool answers(const program_view& view) {
    return view.answers;
}

bool both_found(const program_view& view) {
    return std::ranges::count(view.servers, true, &seen_server::online) >= 2;
}

bool is_paired(const program_view& view) {
    return view.enabled && view.in_role("Main") != nullptr && view.in_role("Backup") != nullptr;
}

bool is_well(const program_view& view, std::string_view role) {
    const seen_server* server = view.in_role(role);
    return server != nullptr && server->online && server->ready && server->healthy;
}

bool both_well(const program_view& view) {
    return is_paired(view) && is_well(view, "Main") && is_well(view, "Backup");
}

bool is_armed(const program_view& view) {
    return view.armed;
}

bool on_backup(const program_view& view) {
    return view.is_active("Backup");
}

bool main_well_and_still_on_backup(const program_view& view) {
    return is_well(view, "Main") && view.alerts.empty() && on_backup(view);
}

bool on_main(const program_view& view) {
    return view.is_active("Main") && !view.held_on_backup;
}

bool warned(const program_view& view) {
    return !view.alerts.empty();
}

bool warned_while_on_main(const program_view& view) {
    return warned(view) && on_main(view);
}

bool acknowledged(const program_view& view) {
    return warned(view) && std::ranges::all_of(view.alerts, &seen_alert::acknowledged);
}

bool no_alert(const program_view& view) {
    return view.answers && view.alerts.empty();
}

constexpr step to_backup{
    .who = actor::program, .text = "Operation moves to Backup.", .is_done = on_backup};
constexpr step stays_on_backup{.who = actor::program,
                               .text = "Main is well again, and operation stays on Backup.",
                               .is_done = main_well_and_still_on_backup};
constexpr step return_to_main{
    .who = actor::you, .text = "Press Return to Main.", .is_done = on_main};

constexpr step begins(std::string_view text, std::string_view role, std::string_view trouble) {
    return {.who = actor::rehearsal,
            .text = text,
            .what = {.role = role, .trouble = trouble, .on = true},
            .soonest = seconds(3),
            .latest = seconds(9)};
}

constexpr step ends(std::string_view text, std::string_view role, std::string_view trouble) {
    return {.who = actor::rehearsal,
            .text = text,
            .what = {.role = role, .trouble = trouble, .on = false},
            .soonest = seconds(4),
            .latest = seconds(6)};
}

constexpr std::array make_a_pair{
    step{.who = actor::you, .text = "Start Redundancy Control.", .is_done = answers},
    step{.who = actor::program, .text = "It finds both servers.", .is_done = both_found},
    step{.who = actor::you,
         .text = "On its page, press Configure Redundancy. Choose one server as Main and the other "
                 "as Backup, tick Enable live Main / Backup operation, and save.",
         .is_done = is_paired},
    step{.who = actor::program, .text = "Both servers are ready.", .is_done = both_well},
    step{.who = actor::you,
         .text = "Look for PROTECTION ARMED. If it says disarmed, press Health & Alerts, then Arm "
                 "Automatic Failover.",
         .is_done = is_armed},
};

constexpr std::array main_dies{
    begins("A cue is running. At some moment Main's engine crashes.", "Main", "engine"),
    to_backup,
    ends("A colleague starts Main's engine again.", "Main", "engine"),
    stays_on_backup,
    return_to_main,
};

constexpr std::array picture_freezes{
    begins("At some moment Main's picture freezes. Nothing crashes.", "Main", "picture"),
    to_backup,
    ends("A colleague gets Main's picture moving again.", "Main", "picture"),
    stays_on_backup,
    return_to_main,
};

constexpr std::array cable_pulled{
    begins("At some moment somebody pulls Main's cable.", "Main", "cable"),
    to_backup,
    ends("The cable is plugged in again.", "Main", "cable"),
    stays_on_backup,
    return_to_main,
};

constexpr std::array by_hand{
    step{.who = actor::you, .text = "Press Take Backup.", .is_done = on_backup},
    return_to_main,
};

constexpr std::array backup_breaks{
    begins("At some moment Backup's engine crashes.", "Backup", "engine"),
    step{.who = actor::program,
         .text = "It raises an alert. Operation stays on Main.",
         .is_done = warned_while_on_main},
    step{.who = actor::you,
         .text = "Press Health & Alerts, read the alert, and press Acknowledge Alerts.",
         .is_done = acknowledged},
    ends("A colleague starts Backup's engine again.", "Backup", "engine"),
    step{.who = actor::program, .text = "The alert is over.", .is_done = no_alert},
};

constexpr std::array<scenario, 6> scenarios{{
    {.title = "First: make the two servers a pair",
     .about = "What every other card needs.",
     .needs_pair = false,
     .steps = make_a_pair},
    {.title = "Main dies in the middle of a cue: return to Main",
     .about = "The program moves operation by itself. Going back is for you.",
     .steps = main_dies},
    {.title = "The picture freezes: return to Main",
     .about = "The server looks well, and the audience sees a still picture.",
     .steps = picture_freezes},
    {.title = "Somebody pulls Main's cable: return to Main",
     .about = "The audience notices nothing before your switcher moves.",
     .steps = cable_pulled},
    {.title = "Move to Backup by hand, and back",
     .about = "Before work on Main, for example. Nothing breaks.",
     .steps = by_hand},
    {.title = "Backup breaks while Main plays",
     .about = "The show goes on, but nothing protects it now.",
     .steps = backup_breaks},
}};

} // namespace

std::span<const scenario> all_scenarios() {
    return scenarios;
}

std::string why_not_yet(const scenario& card, const program_view& view) {
    if (!card.needs_pair) return "";
    if (!view.answers) return "Redundancy Control doesn't run on this computer. Start it first.";
    if (!is_paired(view)) return "There is no pair yet. Play the first card.";
    if (!view.armed) return "Automatic failover is disarmed. Arm it under Health & Alerts.";
    if (!on_main(view)) return "Operation isn't on Main. Press Return to Main.";
    if (!both_well(view)) return "Main and Backup must both be ready. Wait a moment.";
    if (!view.alerts.empty()) return "An alert stands: " + view.alerts.front().message;
    return "";
}

scenario_run::scenario_run(std::size_t number, double chance, steady_time now)
    : number_(number), chance_(chance), step_began_(now) {}

std::span<const step> scenario_run::steps() const {
    return scenarios.at(number_).steps;
}

bool scenario_run::is_over() const {
    return took_.size() == steps().size();
}

bool scenario_run::is_done(const step& next, const program_view& view, steady_time now) const {
    if (next.is_done != nullptr) return next.is_done(view);
    const auto room = std::chrono::duration<double, std::milli>(next.latest - next.soonest);
    return now - step_began_ >= next.soonest + room * chance_;
}

std::optional<deed> scenario_run::advance(const program_view& view, steady_time now) {
    if (is_over()) return std::nullopt;
    const step& next = steps()[took_.size()];
    if (!is_done(next, view, now)) return std::nullopt;
    took_.push_back(std::chrono::duration_cast<milliseconds>(now - step_began_));
    step_began_ = now;
    return next.who == actor::rehearsal ? std::optional(next.what) : std::nullopt;
}

milliseconds scenario_run::reaction() const {
    milliseconds sum{0};
    for (std::size_t i = 0; i < took_.size(); ++i)
        if (steps()[i].who == actor::you) sum += took_[i];
    return sum;
}

} // namespace elvantris::rehearsal
