#include "rehearsal/scenario.hpp"

#include <gtest/gtest.h>

#include <algorithm>

namespace elvantris::rehearsal {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t first_card = 0;
constexpr std::size_t main_dies = 1;
constexpr std::size_t by_hand = 4;
constexpr std::size_t backup_breaks = 5;
const steady_time begin{1h};

// A pair on Main, both well, armed, no alert.
program_view good_view() {
    program_view view{
        .answers = true, .enabled = true, .armed = true, .active_serial = "A", .in_sync = true};
    for (const auto& [serial, role] : {std::pair{"A", "Main"}, std::pair{"B", "Backup"}})
        view.servers.push_back(
            {.serial = serial, .role = role, .online = true, .ready = true, .healthy = true});
    return view;
}

program_view view_on_backup() {
    program_view view = good_view();
    view.active_serial = "B";
    view.held_on_backup = true;
    return view;
}

std::string why_not(const program_view& view, std::string_view switched_on = "") {
    return why_not_yet(all_scenarios()[main_dies], view, switched_on);
}

// Main has failed at 3000 ms, and the program has moved operation at 3400 ms.
scenario_run run_on_backup() {
    scenario_run run(main_dies, 0, begin);
    run.advance(good_view(), begin + 3000ms);
    run.advance(view_on_backup(), begin + 3400ms);
    return run;
}

void expect_repair_of(const std::optional<server_change>& change, std::string_view serial) {
    ASSERT_TRUE(change);
    EXPECT_EQ(change->serial, serial);
    EXPECT_EQ(change->trouble, "engine");
    EXPECT_FALSE(change->on);
}

TEST(scenario, needs_a_pair_that_is_ready_armed_and_on_main) {
    EXPECT_EQ(why_not(good_view()), "");
    EXPECT_EQ(why_not({}), "Redundancy Control doesn't run on this computer. Start it first.");
    program_view view = good_view();
    view.servers[1].role = "Independent";
    EXPECT_EQ(why_not(view), "There is no pair yet. Play the first card.");
    view = good_view();
    view.armed = false;
    EXPECT_EQ(why_not(view), "Automatic failover is disarmed. Arm it under Health & Alerts.");
    EXPECT_EQ(why_not(view_on_backup()),
              "Operation isn't on Main. Press Health & Alerts, then Return to Main.");
    view = good_view();
    view.servers[1].healthy = false;
    EXPECT_EQ(why_not(view), "Main and Backup must both be ready. Wait a moment.");
    view = good_view();
    view.alerts.push_back({.message = "The clock is gone."});
    EXPECT_EQ(why_not(view), "An alert is active: The clock is gone. Wait a moment. If it stays, "
                             "press Health & Alerts and end its cause.");
}

TEST(scenario, a_switch_that_is_on_is_named_if_the_pair_is_not_well) {
    constexpr std::string_view crashed = "Rehearsal server B: The engine crashes";
    constexpr const char* advice = "Rehearsal server B: The engine crashes. Press the red switch.";
    program_view view = good_view();
    EXPECT_EQ(why_not(view, crashed), "");
    view.servers[1].healthy = false;
    EXPECT_EQ(why_not(view, crashed), advice);
    view = good_view();
    view.alerts.push_back({.message = "Backup is not ready."});
    EXPECT_EQ(why_not(view, crashed), advice);
    EXPECT_EQ(why_not(view_on_backup(), crashed), advice);
    EXPECT_EQ(why_not({}, crashed), why_not({}));
}

TEST(scenario, the_first_card_can_begin_without_the_program) {
    EXPECT_EQ(why_not_yet(all_scenarios()[first_card], {}, ""), "");
}

TEST(scenario, nothing_begins_on_the_settings_of_the_show) {
    program_view view = good_view();
    view.uses_show_settings = true;
    for (const scenario& card : all_scenarios())
        EXPECT_EQ(why_not_yet(card, view, ""), show_settings_warning) << card.title;
}

TEST(scenario, a_program_that_starts_on_the_settings_of_the_show_ends_it) {
    scenario_run run(first_card, 0, begin);
    EXPECT_FALSE(run.advance({}, begin + 1h));
    EXPECT_FALSE(run.is_over());
    program_view view = good_view();
    view.uses_show_settings = true;
    EXPECT_FALSE(run.advance(view, begin + 2h));
    EXPECT_TRUE(run.is_over());
    EXPECT_EQ(run.why_ended(), show_settings_warning);
}

TEST(scenario, the_first_card_is_done_without_a_time_if_all_was_so_before) {
    scenario_run run(first_card, 0, begin);
    for (int i = 1; i <= 5; ++i)
        run.advance(good_view(), begin + i * 100ms);
    EXPECT_TRUE(run.is_over());
    EXPECT_EQ(run.reaction(), 0ms);
}

TEST(scenario, the_first_card_waits_for_a_pair_in_sync_and_operation_on_main) {
    program_view view = good_view();
    view.in_sync = false;
    scenario_run run(first_card, 0, begin);
    for (int i = 1; i <= 9; ++i)
        run.advance(view, begin + i * 100ms);
    EXPECT_EQ(run.took().size(), 3U);
    for (int i = 10; i <= 19; ++i)
        run.advance(view_on_backup(), begin + i * 100ms);
    EXPECT_EQ(run.took().size(), 4U);
    run.advance(good_view(), begin + 3s);
    EXPECT_TRUE(run.is_over());
}

TEST(scenario, only_the_first_card_can_do_without_a_pair) {
    const auto cards = all_scenarios().subspan(1);
    EXPECT_TRUE(std::ranges::all_of(cards, &scenario::needs_pair));
}

TEST(scenario, each_trouble_that_begins_ends_again_on_the_same_server) {
    for (const scenario& card : all_scenarios()) {
        std::set<std::pair<std::string_view, std::string_view>> open;
        for (const step& each : card.steps) {
            if (each.who != actor::rehearsal) {
                EXPECT_NE(each.is_done, nullptr) << each.text;
                continue;
            }
            EXPECT_LE(each.soonest, each.latest);
            trouble_set set;
            EXPECT_TRUE(change_troubles(set, each.what.trouble, true)) << each.text;
            const std::pair key{each.what.role, each.what.trouble};
            if (each.what.on)
                EXPECT_TRUE(open.insert(key).second);
            else
                EXPECT_EQ(open.erase(key), 1U);
        }
        EXPECT_TRUE(open.empty()) << card.title;
    }
}

TEST(scenario, the_fault_comes_within_its_limits) {
    scenario_run soon(main_dies, 0, begin);
    EXPECT_FALSE(soon.advance(good_view(), begin + 2999ms));
    const std::optional<server_change> fault = soon.advance(good_view(), begin + 3000ms);
    ASSERT_TRUE(fault);
    EXPECT_EQ(fault->serial, "A");
    EXPECT_EQ(fault->trouble, "engine");
    EXPECT_TRUE(fault->on);
    scenario_run late(main_dies, 1, begin);
    EXPECT_FALSE(late.advance(good_view(), begin + 8999ms));
    EXPECT_TRUE(late.advance(good_view(), begin + 9000ms));
}

TEST(scenario, each_step_waits_for_the_one_before_it) {
    scenario_run run(by_hand, 0, begin);
    run.advance(good_view(), begin + 100ms);
    EXPECT_TRUE(run.took().empty());
    run.advance(view_on_backup(), begin + 200ms);
    EXPECT_EQ(run.took().size(), 1U);
}

TEST(scenario, the_operators_time_counts_from_the_step_before) {
    scenario_run run(main_dies, 0, begin);
    EXPECT_TRUE(run.advance(good_view(), begin + 3000ms));
    EXPECT_FALSE(run.advance(good_view(), begin + 3100ms));
    EXPECT_FALSE(run.advance(view_on_backup(), begin + 3400ms));
    expect_repair_of(run.advance(view_on_backup(), begin + 7400ms), "A");
    EXPECT_FALSE(run.advance(view_on_backup(), begin + 8000ms));
    EXPECT_FALSE(run.is_over());
    EXPECT_EQ(run.reaction(), 0ms);
    program_view still_held = good_view();
    still_held.held_on_backup = true;
    run.advance(still_held, begin + 9000ms);
    EXPECT_FALSE(run.is_over());
    run.advance(good_view(), begin + 10'500ms);
    EXPECT_TRUE(run.is_over());
    EXPECT_EQ(run.took(), (std::vector<milliseconds>{3000ms, 400ms, 4000ms, 600ms, 2500ms}));
    EXPECT_EQ(run.reaction(), 2500ms);
    EXPECT_FALSE(run.advance(good_view(), begin + 60s));
    EXPECT_EQ(run.why_ended(), "");
}

TEST(scenario, the_server_that_was_broken_is_repaired_whatever_its_role_is_then) {
    scenario_run run = run_on_backup();
    program_view view = view_on_backup();
    std::swap(view.servers[0].role, view.servers[1].role);
    view.active_serial = "A";
    expect_repair_of(run.advance(view, begin + 7400ms), "A");
}

TEST(scenario, ends_and_repairs_when_the_program_has_ended_for_three_seconds) {
    scenario_run run = run_on_backup();
    EXPECT_FALSE(run.advance({}, begin + 6399ms));
    EXPECT_FALSE(run.is_over());
    expect_repair_of(run.advance({}, begin + 6400ms), "A");
    EXPECT_TRUE(run.is_over());
    EXPECT_FALSE(run.broken());
    EXPECT_EQ(run.why_ended(),
              "Redundancy Control has ended. Start it, then press Begin to try again.");
    EXPECT_FALSE(run.advance(good_view(), begin + 60s));
}

TEST(scenario, outlives_a_short_silence_and_does_nothing_in_it) {
    scenario_run run = run_on_backup();
    EXPECT_FALSE(run.advance(view_on_backup(), begin + 6000ms));
    EXPECT_FALSE(run.advance({}, begin + 8000ms));
    expect_repair_of(run.advance(view_on_backup(), begin + 9000ms), "A");
    EXPECT_FALSE(run.is_over());
}

TEST(scenario, ends_when_there_is_no_pair_any_more) {
    scenario_run run = run_on_backup();
    program_view view = good_view();
    view.enabled = false;
    expect_repair_of(run.advance(view, begin + 5s), "A");
    EXPECT_EQ(run.why_ended(), "There is no pair any more. Play the first card.");
}

TEST(scenario, ends_when_the_operator_returns_before_the_repair) {
    scenario_run run = run_on_backup();
    expect_repair_of(run.advance(good_view(), begin + 5s), "A");
    EXPECT_EQ(run.why_ended(), "You returned before the repair. Press Begin to try again.");
}

TEST(scenario, ends_when_the_operator_heals_the_server_before_the_program_moves) {
    scenario_run run(main_dies, 0, begin);
    run.note_trouble_gone();
    EXPECT_FALSE(run.is_over());
    run.advance(good_view(), begin + 3000ms);
    run.note_trouble_gone();
    EXPECT_TRUE(run.is_over());
    EXPECT_TRUE(run.why_ended().starts_with("You ended the trouble before the program saw it."));
    EXPECT_FALSE(run.broken());
}

TEST(scenario, goes_on_when_the_operator_heals_the_server_after_the_move) {
    scenario_run run = run_on_backup();
    run.note_trouble_gone();
    EXPECT_FALSE(run.is_over());
    expect_repair_of(run.advance(view_on_backup(), begin + 7400ms), "A");
}

TEST(scenario, ends_when_the_operator_returns_during_an_alert) {
    scenario_run run = run_on_backup();
    run.advance(view_on_backup(), begin + 7400ms);
    program_view view = good_view();
    view.alerts.push_back({.message = "The engine stopped."});
    EXPECT_FALSE(run.advance(view, begin + 7500ms));
    EXPECT_EQ(run.why_ended(),
              "You returned before all alerts were over. Press Begin to try again.");
}

TEST(scenario, ends_when_operation_leaves_main_before_the_fault) {
    scenario_run run(main_dies, 0, begin);
    EXPECT_FALSE(run.advance(view_on_backup(), begin + 3000ms));
    EXPECT_TRUE(run.why_ended().starts_with("Operation left Main before anything broke."));
}

TEST(scenario, the_operators_own_move_is_not_the_programs) {
    program_view moved = view_on_backup();
    moved.moved_by_hand = true;
    scenario_run run(main_dies, 0, begin);
    run.advance(good_view(), begin + 3000ms);
    expect_repair_of(run.advance(moved, begin + 3100ms), "A");
    EXPECT_TRUE(run.why_ended().starts_with("You moved operation before the program did."));
}

TEST(scenario, ends_when_it_is_disarmed_before_the_move_and_not_after_it) {
    program_view disarmed = good_view();
    disarmed.armed = false;
    scenario_run run(main_dies, 0, begin);
    run.advance(good_view(), begin + 3000ms);
    expect_repair_of(run.advance(disarmed, begin + 3100ms), "A");
    EXPECT_TRUE(run.why_ended().starts_with("Automatic failover is disarmed."));
    scenario_run moved(main_dies, 0, begin);
    moved.advance(good_view(), begin + 3000ms);
    disarmed = view_on_backup();
    disarmed.armed = false;
    moved.advance(disarmed, begin + 3100ms);
    EXPECT_EQ(moved.took().size(), 2U);
}

TEST(scenario, ends_when_the_alert_is_over_before_it_was_acknowledged) {
    scenario_run run(backup_breaks, 0, begin);
    run.advance(good_view(), begin + 3000ms);
    program_view view = good_view();
    view.alerts.push_back({.message = "Backup is not ready."});
    EXPECT_FALSE(run.advance(view, begin + 3100ms));
    EXPECT_FALSE(run.advance(view, begin + 3200ms));
    expect_repair_of(run.advance(good_view(), begin + 3300ms), "B");
    EXPECT_TRUE(run.why_ended().starts_with("The alert ended before you acknowledged it."));
}

} // namespace
} // namespace elvantris::rehearsal
