#include "tool/explain_choice.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

constexpr std::int64_t minute = 60'000;
constexpr std::int64_t show = 1'790'000'000'000;
constexpr const char* to_backup = "Engine stopped or exited.; operating on Backup.";
constexpr const char* to_main = "Operator requested transfer; operating on Main.";

history_entry event(history_kind kind, std::int64_t begun, const std::string& message,
                    std::optional<std::int64_t> ended = {}) {
    history_entry made{
        .kind = kind, .begun = show + begun, .ended = {}, .key = {}, .message = message};
    if (ended) made.ended = show + *ended;
    return made;
}

history_entry engine_fault(std::int64_t begun, std::optional<std::int64_t> ended = {}) {
    return event(history_kind::fault, begun, "Main: Engine stopped or exited.", ended);
}

// Only alerts, by the default policy.
history_entry clock_fault(std::int64_t begun) {
    return event(history_kind::fault, begun,
                 "Main: Engaged external clock is unavailable or unlocked.");
}

history_entry transfer(std::int64_t begun, const std::string& message) {
    return event(history_kind::transfer, begun, message);
}

history_entry block(std::int64_t begun, std::optional<std::int64_t> ended = {}) {
    return event(history_kind::blocked, begun, "blocked", ended);
}

// The place of the event that is chosen; -1 for none.
std::ptrdiff_t chosen(const explain_view& view) {
    const history_entry* const found = event_in_question(view);
    return found == nullptr ? -1 : found - view.history.data();
}

// The question is for the minute that begins so late.
std::ptrdiff_t chosen_at(std::int64_t first, std::vector<history_entry> history) {
    explain_view view;
    view.history = std::move(history);
    view.policy = protection_policy{};
    view.about_now = false;
    view.asked = {.first = show + first, .last = show + first + minute - 1};
    return chosen(view);
}

std::ptrdiff_t chosen_now(std::vector<history_entry> history, std::optional<bool> held = false) {
    explain_view view;
    view.policy = protection_policy{};
    view.history = std::move(history);
    view.held_on_backup = held;
    return chosen(view);
}

} // namespace

TEST(event_in_question, prefers_what_says_more) {
    EXPECT_EQ(chosen_at(0, {engine_fault(0), transfer(0, to_backup), engine_fault(30'000)}), 1);
    EXPECT_EQ(chosen_at(0, {engine_fault(0), block(0), engine_fault(30'000)}), 1);
    EXPECT_EQ(chosen_at(0, {engine_fault(0), clock_fault(1000)}), 0);
    EXPECT_EQ(chosen_at(0, {clock_fault(0), engine_fault(1000)}), 1);
    EXPECT_EQ(chosen_at(0, {clock_fault(0), clock_fault(1000)}), 1) << "the later";
    EXPECT_EQ(chosen_at(5 * minute, {transfer(0, to_backup), engine_fault(5 * minute)}), 0);
    EXPECT_EQ(chosen_now({engine_fault(0), transfer(0, to_backup), clock_fault(minute)}), 1);
}

TEST(event_in_question, begins_anew_after_a_return_to_main) {
    EXPECT_EQ(chosen_at(5 * minute, {transfer(0, to_main), engine_fault(5 * minute)}), 1);
    EXPECT_EQ(chosen_at(5 * minute, {transfer(0, to_main), block(5 * minute)}), 1);
    EXPECT_EQ(chosen_at(5 * minute, {transfer(0, to_main), clock_fault(5 * minute)}), 0);
}

TEST(event_in_question, counts_ten_minutes_before_the_whole_time_that_was_asked_for) {
    explain_view view;
    view.history = {engine_fault(0)};
    view.about_now = false;
    const auto chosen_for = [&](std::int64_t first, std::int64_t last) {
        view.asked = {.first = show + first, .last = show + last};
        return chosen(view);
    };
    EXPECT_EQ(chosen_for(10 * minute, 10 * minute), 0);
    EXPECT_EQ(chosen_for(10 * minute + 1, 10 * minute + 1), -1);
    EXPECT_EQ(chosen_for(-12 * 60 * minute, 12 * 60 * minute), 0) << "a whole day";
    EXPECT_EQ(chosen_for(-5, -1), -1);
    EXPECT_EQ(chosen_for(-5, 0), 0);
}

TEST(event_in_question, may_have_begun_long_before_if_it_lasted) {
    EXPECT_EQ(chosen_at(60 * minute, {engine_fault(0, 90 * minute), block(0, 90 * minute)}), 1);
    EXPECT_EQ(chosen_at(60 * minute, {block(0, 60 * minute)}), 0);
    EXPECT_EQ(chosen_at(60 * minute, {block(0, 60 * minute - 1)}), -1);
    EXPECT_EQ(chosen_at(60 * minute, {block(0)}), -1) << "nobody knows";
    EXPECT_EQ(chosen_at(60 * minute, {transfer(0, to_backup)}), -1);
}

TEST(event_in_question, takes_what_a_fault_led_to_just_behind_the_time_that_was_asked_for) {
    const std::int64_t last = minute - 1;
    EXPECT_EQ(chosen_at(0, {engine_fault(last), transfer(last + 2000, to_backup)}), 1);
    EXPECT_EQ(chosen_at(0, {engine_fault(last), transfer(last + 2001, to_backup)}), 0);
    EXPECT_EQ(chosen_at(0, {engine_fault(last), block(last + 1500)}), 1);
    EXPECT_EQ(chosen_at(0, {transfer(last + 1, to_backup)}), -1);
}

TEST(event_in_question, is_not_a_fault_of_main_while_operation_is_held_on_backup) {
    const std::vector<history_entry> history{transfer(0, to_backup), engine_fault(60 * minute)};
    EXPECT_EQ(chosen_now(history, true), 0);
    EXPECT_EQ(chosen_now(history, false), 1) << "a changed pair ended the hold";
    EXPECT_EQ(chosen_now({}), -1);
}

TEST(event_in_question, takes_the_hold_from_the_log_where_nobody_tells_it) {
    const std::vector<history_entry> history{transfer(0, to_backup), engine_fault(11 * minute)};
    EXPECT_EQ(chosen_now(history, std::nullopt), 0);
    EXPECT_EQ(chosen_now(history, false), 1);
}

TEST(event_in_question, takes_no_fault_for_a_mere_alert_under_an_unknown_policy) {
    explain_view view;
    view.history = {engine_fault(0), clock_fault(1000)};
    view.about_now = false;
    view.asked = {.first = show, .last = show + minute};
    EXPECT_EQ(chosen(view), 1) << "the later of two that weigh the same";
    view.policy = protection_policy{};
    EXPECT_EQ(chosen(view), 0);
}
