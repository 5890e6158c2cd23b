#include "rehearsal/scenario.hpp"

#include <gtest/gtest.h>

#include <algorithm>

namespace elvantris::rehearsal {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t first_card = 0;
constexpr std::size_t main_dies = 1;
const steady_time begin{1h};

// A pair on Main, both well, armed, no alert.
program_view good_view() {
    program_view view{.answers = true, .enabled = true, .armed = true, .active_serial = "A"};
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

std::string why_not(const program_view& view) {
    return why_not_yet(all_scenarios()[main_dies], view);
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
    EXPECT_EQ(why_not(view_on_backup()), "Operation isn't on Main. Press Return to Main.");
    view = good_view();
    view.servers[1].healthy = false;
    EXPECT_EQ(why_not(view), "Main and Backup must both be ready. Wait a moment.");
    view = good_view();
    view.alerts.push_back({.message = "The clock is gone."});
    EXPECT_EQ(why_not(view), "An alert stands: The clock is gone.");
}

TEST(scenario, the_first_card_can_always_begin) {
    EXPECT_EQ(why_not_yet(all_scenarios()[first_card], {}), "");
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
    const std::optional<deed> fault = soon.advance(good_view(), begin + 3000ms);
    ASSERT_TRUE(fault);
    EXPECT_EQ(fault->role, "Main");
    EXPECT_EQ(fault->trouble, "engine");
    EXPECT_TRUE(fault->on);
    scenario_run late(main_dies, 1, begin);
    EXPECT_FALSE(late.advance(good_view(), begin + 8999ms));
    EXPECT_TRUE(late.advance(good_view(), begin + 9000ms));
}

TEST(scenario, each_step_waits_for_the_one_before_it) {
    scenario_run run(main_dies, 0, begin);
    run.advance(view_on_backup(), begin + 100ms);
    EXPECT_TRUE(run.took().empty());
}

TEST(scenario, the_operators_time_counts_from_the_step_before) {
    scenario_run run(main_dies, 0, begin);
    EXPECT_TRUE(run.advance(good_view(), begin + 3000ms));
    EXPECT_FALSE(run.advance(good_view(), begin + 3100ms));
    EXPECT_FALSE(run.advance(view_on_backup(), begin + 3400ms));
    const std::optional<deed> repair = run.advance(view_on_backup(), begin + 7400ms);
    ASSERT_TRUE(repair);
    EXPECT_FALSE(repair->on);
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
}

} // namespace
} // namespace elvantris::rehearsal
