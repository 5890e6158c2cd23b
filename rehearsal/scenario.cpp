#include "rehearsal/scenario.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace elvantris::rehearsal {

namespace {

using std::chrono::seconds;

// Longer than a restart of the program, and than its answer takes on a busy computer.
constexpr seconds longest_silence{3};

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

bool both_well_and_in_sync(const program_view& view) {
    return both_well(view) && view.in_sync;
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

bool armed_on_main(const program_view& view) {
    return view.armed && on_main(view);
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

std::string_view left_main_early(const program_view& view) {
    if (!view.held_on_backup && !on_backup(view)) return "";
    return "Operation left Main before anything broke. Press Health & Alerts, then Return to Main. "
           "Press Begin to try again.";
}

std::string_view no_move_by_program(const program_view& view) {
    if (on_backup(view))
        return view.moved_by_hand
                   ? "You moved operation before the program did. Press Health & Alerts, then "
                     "Return to Main. Press Begin to try again."
                   : "";
    if (view.armed) return "";
    return "Automatic failover is disarmed. Press Health & Alerts, then Arm Automatic Failover. "
           "Press Begin to try again.";
}

std::string_view returned_before_repair(const program_view& view) {
    return on_main(view) ? "You returned before the repair. Press Begin to try again." : "";
}

std::string_view returned_during_alert(const program_view& view) {
    return on_main(view) ? "You returned before all alerts were over. Press Begin to try again."
                         : "";
}

std::string_view alert_over(const program_view& view) {
    return no_alert(view) ? "The alert ended before you acknowledged it. Press Begin to try again."
                          : "";
}

constexpr step to_backup{.who = actor::program,
                         .text = "Operation moves to Backup.",
                         .is_done = on_backup,
                         .why_missed = no_move_by_program};
constexpr step stays_on_backup{.who = actor::program,
                               .text = "Main is well again, and operation stays on Backup.",
                               .is_done = main_well_and_still_on_backup,
                               .why_missed = returned_during_alert};
constexpr step return_to_main{
    .who = actor::you, .text = "Press Health & Alerts, then Return to Main.", .is_done = on_main};

constexpr step begins(std::string_view text, std::string_view role, std::string_view trouble) {
    return {.who = actor::rehearsal,
            .text = text,
            .what = {.role = role, .trouble = trouble, .on = true},
            .soonest = seconds(3),
            .latest = seconds(9),
            .why_missed = left_main_early};
}

constexpr step ends(std::string_view text, std::string_view role, std::string_view trouble) {
    return {.who = actor::rehearsal,
            .text = text,
            .what = {.role = role, .trouble = trouble, .on = false},
            .soonest = seconds(4),
            .latest = seconds(6),
            .why_missed = role == "Main" ? returned_before_repair : nullptr};
}

constexpr std::array make_a_pair{
    step{.who = actor::you, .text = "Start Redundancy Control.", .is_done = answers},
    step{.who = actor::program, .text = "It finds both servers.", .is_done = both_found},
    step{.who = actor::you,
         .text = "On its page, press Configure Redundancy. Choose one server as Main and the other "
                 "as Backup, tick Enable live Main / Backup operation, and press Save "
                 "Configuration.",
         .is_done = is_paired},
    step{.who = actor::program,
         .text = "Both servers are ready, and Show Sync says In Sync.",
         .is_done = both_well_and_in_sync},
    step{.who = actor::program,
         .text = "Automatic failover is armed, and operation is on Main. If not, press Health & "
                 "Alerts, then Arm Automatic Failover or Return to Main.",
         .is_done = armed_on_main},
};

constexpr std::array main_dies{
    begins("A cue is running. At some moment Main's engine crashes.", "Main", "engine"),
    to_backup,
    ends("A colleague starts Main's engine again.", "Main", "engine"),
    stays_on_backup,
    return_to_main,
};

constexpr std::array picture_freezes{
    begins("At some moment Main's picture freezes.", "Main", "picture"),
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
    step{.who = actor::you,
         .text = "Press Health & Alerts, then Take Backup.",
         .is_done = on_backup},
    return_to_main,
};

constexpr std::array backup_breaks{
    begins("At some moment Backup's engine crashes.", "Backup", "engine"),
    step{.who = actor::program,
         .text = "It raises an alert. Operation stays on Main.",
         .is_done = warned_while_on_main},
    step{.who = actor::you,
         .text = "Press Health & Alerts, read the alert, and press Acknowledge Alerts.",
         .is_done = acknowledged,
         .why_missed = alert_over},
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
     .about = "Nothing has crashed: the engine runs, and the audience sees a still picture.",
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

// Why the pair is not as it has to be before something may break.
std::string why_unfit(const program_view& view) {
    if (!on_main(view))
        return "Operation isn't on Main. Press Health & Alerts, then Return to Main.";
    if (!both_well(view)) return "Main and Backup must both be ready. Wait a moment.";
    if (!view.alerts.empty())
        return "An alert is active: " + view.alerts.front().message +
               " Wait a moment. If it stays, press Health & Alerts and end its cause.";
    return "";
}

} // namespace

std::span<const scenario> all_scenarios() {
    return scenarios;
}

std::string why_not_yet(const scenario& card, const program_view& view,
                        std::string_view switched_on) {
    if (view.uses_show_settings) return std::string(show_settings_warning);
    if (!card.needs_pair) return "";
    if (!view.answers) return "Redundancy Control doesn't run on this computer. Start it first.";
    if (!is_paired(view)) return "There is no pair yet. Play the first card.";
    if (!view.armed) return "Automatic failover is disarmed. Arm it under Health & Alerts.";
    std::string reason = why_unfit(view);
    if (reason.empty() || switched_on.empty()) return reason;
    return std::string(switched_on) + ". Press the red switch.";
}

scenario_run::scenario_run(std::size_t number, double chance, steady_time now)
    : number_(number), chance_(chance), step_began_(now) {
    if (scenarios.at(number).needs_pair) heard_ = now;
}

std::span<const step> scenario_run::steps() const {
    return scenarios.at(number_).steps;
}

bool scenario_run::is_over() const {
    return took_.size() == steps().size() || !why_ended_.empty();
}

std::string_view scenario_run::why_impossible(const program_view& view, steady_time now) const {
    if (!view.answers)
        return heard_ && now - *heard_ >= longest_silence
                   ? "Redundancy Control has ended. Start it, then press Begin to try again."
                   : "";
    if (view.uses_show_settings) return show_settings_warning;
    if (scenarios.at(number_).needs_pair && !is_paired(view))
        return "There is no pair any more. Play the first card.";
    const step& next = steps()[took_.size()];
    return next.why_missed == nullptr ? "" : next.why_missed(view);
}

bool scenario_run::is_done(const step& next, const program_view& view, steady_time now) const {
    if (next.is_done != nullptr) return next.is_done(view);
    const auto room = std::chrono::duration<double, std::milli>(next.latest - next.soonest);
    return now - step_began_ >= next.soonest + room * chance_;
}

std::optional<server_change> scenario_run::advance(const program_view& view, steady_time now) {
    if (is_over()) return std::nullopt;
    if (view.answers) heard_ = now;
    why_ended_ = why_impossible(view, now);
    if (!why_ended_.empty()) return repair_server();
    const step& next = steps()[took_.size()];
    if (!view.answers || !is_done(next, view, now)) {
        waited_ = true;
        return std::nullopt;
    }
    finish_step(now);
    if (next.who != actor::rehearsal) return std::nullopt;
    return next.what.on ? break_server(next.what, view) : repair_server();
}

void scenario_run::note_trouble_gone() {
    if (is_over() || !broken_ || steps()[took_.size()].who != actor::program) return;
    broken_.reset();
    why_ended_ = "You ended the trouble before the program saw it. Press Begin to try again.";
}

void scenario_run::finish_step(steady_time now) {
    const auto took = std::chrono::duration_cast<milliseconds>(now - step_began_);
    if (waited_ && steps()[took_.size()].who == actor::you) reaction_ += took;
    took_.push_back(took);
    step_began_ = now;
    waited_ = false;
}

std::optional<server_change> scenario_run::break_server(const deed& what,
                                                        const program_view& view) {
    const seen_server* server = view.in_role(what.role);
    if (server == nullptr) return std::nullopt;
    broken_ = {.serial = server->serial, .trouble = what.trouble, .on = true};
    return broken_;
}

std::optional<server_change> scenario_run::repair_server() {
    std::optional<server_change> change = std::exchange(broken_, std::nullopt);
    if (change) change->on = false;
    return change;
}

} // namespace elvantris::rehearsal
