#include "tool/explain_report.hpp"

#include "tool/local_time.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

using lines = std::vector<std::string>;

const std::int64_t fault_time = read_local_time("2026-03-10 20:14:03", 0)->first;
constexpr std::int64_t minute = 60'000;

history_entry entry(history_kind kind, std::int64_t after_fault, const std::string& key,
                    const std::string& message,
                    std::optional<std::int64_t> ended_after_fault = {}) {
    history_entry made{.kind = kind,
                       .begun = fault_time + after_fault,
                       .ended = {},
                       .key = key,
                       .message = message};
    if (ended_after_fault) made.ended = fault_time + *ended_after_fault;
    return made;
}

history_entry main_fault(std::optional<std::int64_t> ended = {}) {
    return entry(history_kind::fault, 0, "A:engine", "Main: Engine stopped or exited.", ended);
}

history_entry moved(std::int64_t after_fault, const std::string& message) {
    return entry(history_kind::transfer, after_fault, "transfer", message);
}

constexpr const char* failed_over =
    "Engine stopped or exited.; operating on Backup. Return to Main manually when ready.";
constexpr const char* not_ready =
    "Main fault detected; failover blocked because Backup is not ready.";

// What the program is asked right after the last of it.
explain_view view_of(std::vector<history_entry> history) {
    explain_view view;
    view.history = std::move(history);
    view.enabled = true;
    view.held_on_backup = false;
    view.policy = protection_policy{};
    return view;
}

void ask_at(explain_view& view, std::int64_t after_fault, std::int64_t length = 0) {
    view.about_now = false;
    view.asked = {.first = fault_time + after_fault, .last = fault_time + after_fault + length};
}

lines story_of(const explanation& told) {
    lines texts;
    for (const story_line& line : told.story)
        texts.push_back(local_clock(line.time) + ' ' + line.text);
    return texts;
}

} // namespace

TEST(explain, tells_a_failover_with_its_commands) {
    const explanation told =
        explain(view_of({main_fault(127'000), moved(129, failed_over),
                         entry(history_kind::command, 1000, "",
                               "Transfer to Backup / A: sent; device execution unconfirmed."),
                         entry(history_kind::command, 1010, "",
                               "Transfer to Backup / B: sent; device execution unconfirmed.")}));
    EXPECT_EQ(told.outcome, operation_outcome::moved);
    EXPECT_EQ(told.summary, "Operation moved to Backup because of Main: Engine stopped or exited.");
    EXPECT_EQ(told.reasons, lines{"Automatic failover was armed, and Backup was ready."});
    EXPECT_EQ(story_of(told), (lines{"20:14:03 Main: Engine stopped or exited.",
                                     "20:14:03 Moved to Backup.", "20:14:04 2 commands sent.",
                                     "20:16:10 Ended: Main: Engine stopped or exited."}));
}

TEST(explain, tells_which_command_failed_and_leaves_out_those_of_others) {
    explain_view view =
        view_of({main_fault(), moved(0, failed_over),
                 entry(history_kind::command, 1000, "",
                       "Transfer to Backup / A: sent; device execution unconfirmed."),
                 entry(history_kind::command, 1000, "",
                       "Test action / T: sent; device execution unconfirmed."),
                 entry(history_kind::fault, 4000, "action:B:backup",
                       "Transfer to Backup / B: Destination could not be resolved."),
                 moved(5000, "Operator requested transfer; operating on Main."),
                 entry(history_kind::command, 6000, "",
                       "Transfer to Backup / C: sent; device execution unconfirmed.")});
    ask_at(view, 999);
    EXPECT_EQ(story_of(explain(view)),
              (lines{"20:14:03 Main: Engine stopped or exited.", "20:14:03 Moved to Backup.",
                     "20:14:04 1 command sent.",
                     "20:14:07 A command failed: B: Destination could not be resolved."}));
}

TEST(explain, tells_what_the_operator_did) {
    const explanation taken = explain(view_of(
        {moved(0, "Operator requested transfer; operating on Backup. Return to Main manually when "
                  "ready.")}));
    EXPECT_EQ(taken.outcome, operation_outcome::moved);
    EXPECT_EQ(taken.summary, "The operator moved operation to Backup.");
    EXPECT_EQ(taken.reasons, lines{});
    EXPECT_EQ(story_of(taken), lines{"20:14:03 The operator moved operation to Backup."});
}

TEST(explain, tells_why_backup_was_not_ready) {
    const std::vector<history_entry> history{
        entry(history_kind::fault, -53'500, "B:output:HDMI 2",
              "Backup: Protected output unavailable: HDMI 2"),
        entry(history_kind::fault, -53'000, "backup-readiness",
              "Backup is not ready; automatic protection is degraded."),
        main_fault(), entry(history_kind::blocked, 0, "failover-blocked", not_ready, 10'000)};
    const explanation told = explain(view_of(history));
    EXPECT_EQ(told.outcome, operation_outcome::blocked);
    EXPECT_EQ(told.summary, "Operation did not move: Backup was not ready from 20:13:10 on.");
    EXPECT_EQ(told.reasons, lines{"Backup: Protected output unavailable: HDMI 2"});
    EXPECT_EQ(story_of(told),
              (lines{"20:13:09 Backup: Protected output unavailable: HDMI 2",
                     "20:13:10 Backup is not ready; automatic protection is degraded.",
                     "20:14:03 Main: Engine stopped or exited.",
                     std::string("20:14:03 ") + not_ready, "20:14:13 No longer blocked."}));

    const explanation hidden = explain(view_of({main_fault(), history.back()}));
    EXPECT_EQ(hidden.summary, "Operation did not move: Backup was not ready.");
    EXPECT_EQ(hidden.reasons,
              lines{"No fault of Backup is in the log: its engine may have been starting."});
}

// The servers were switched off in the evening, and then the program: nothing of it has an end.
std::vector<history_entry> evening_before() {
    constexpr std::int64_t half_a_day = -12 * 60 * minute;
    return {
        entry(history_kind::fault, half_a_day, "A:server", "Main: Server communication lost."),
        entry(history_kind::fault, half_a_day, "B:server", "Backup: Server communication lost."),
        entry(history_kind::fault, half_a_day, "backup-readiness",
              "Backup is not ready; automatic protection is degraded.")};
}

TEST(explain, keeps_what_an_evening_left_open_out_of_the_next_day) {
    std::vector<history_entry> history = evening_before();
    history.push_back(main_fault());
    const explanation stayed = explain(view_of(history));
    EXPECT_EQ(stayed.reasons,
              lines{"It may have been disarmed, or the pair disabled: the log does not tell."});
    EXPECT_EQ(story_of(stayed), lines{"20:14:03 Main: Engine stopped or exited."});

    history.insert(history.end() - 1,
                   entry(history_kind::fault, -53'000, "backup-readiness",
                         "Backup is not ready; automatic protection is degraded."));
    history.push_back(entry(history_kind::blocked, 0, "failover-blocked", not_ready));
    const explanation blocked = explain(view_of(history));
    EXPECT_EQ(blocked.summary, "Operation did not move: Backup was not ready from 20:13:10 on.");
    EXPECT_EQ(blocked.reasons,
              lines{"No fault of Backup is in the log: its engine may have been starting."});
}

TEST(explain, adds_the_date_to_what_began_on_another_day) {
    std::vector<history_entry> history = evening_before();
    for (history_entry& each : history)
        each.begun -= 12 * 60 * minute;
    history.push_back(entry(history_kind::blocked, 0, "failover-blocked", not_ready));
    const explanation told = explain(view_of(history));
    EXPECT_EQ(told.summary,
              "Operation did not move: Backup was not ready from 2026-03-09 20:14:03 on.");
    EXPECT_EQ(told.reasons, lines{"Backup: Server communication lost."});
}

TEST(explain, says_that_the_program_uses_another_folder) {
    explain_view view = view_of({});
    view.notes = {"The running program uses another configuration file: x."};
    EXPECT_EQ(explain(view).reasons.back(), view.notes.front());
}

TEST(explain, tells_the_other_two_blocks) {
    EXPECT_EQ(explain(view_of({main_fault(),
                               entry(history_kind::blocked, 0, "failover-blocked",
                                     "Main fault detected; waiting for the current outbound "
                                     "sequence.")}))
                  .summary,
              "Operation did not move: commands were still being sent.");
    EXPECT_EQ(explain(view_of({main_fault(),
                               entry(history_kind::blocked, 0, "transfer-storage",
                                     "Could not persist active server; transfer was blocked.")}))
                  .summary,
              "Operation did not move: the disk refused to keep the hold.");
}

TEST(explain, names_a_block_that_ended_with_the_transfer) {
    const explanation told = explain(
        view_of({main_fault(), entry(history_kind::blocked, 0, "failover-blocked", not_ready, 5000),
                 moved(5000, failed_over)}));
    EXPECT_EQ(told.outcome, operation_outcome::moved);
    EXPECT_EQ(story_of(told)[1], std::string("20:14:03 Blocked until then: ") + not_ready);
    EXPECT_EQ(story_of(told)[2], "20:14:08 Moved to Backup, 5 s after the alert.");
}

TEST(explain, tells_why_a_fault_moved_nothing) {
    const auto reason_with = [](const explain_view& view) {
        const explanation told = explain(view);
        EXPECT_EQ(told.outcome, operation_outcome::stayed);
        EXPECT_EQ(told.summary.substr(0, 27), "Operation did not move for ");
        return told.reasons;
    };
    explain_view held = view_of({moved(-11 * minute, failed_over), main_fault()});
    ask_at(held, 0);
    EXPECT_EQ(reason_with(held),
              lines{"It was held on Backup already: nothing moves by itself until the operator "
                    "returns to Main."});
    EXPECT_EQ(reason_with(view_of({entry(history_kind::fault, 0, "A:clock",
                                         "Main: Engaged external clock is unavailable or "
                                         "unlocked.")})),
              lines{"This condition only alerts; it starts no failover."});

    explain_view rule = view_of({entry(history_kind::fault, 0, "A:output:out-1",
                                       "Main: Protected output unavailable: out-1")});
    rule.policy->outputRules = {{.mainId = "out-1", .backupId = "", .mode = mode_alert}};
    EXPECT_EQ(reason_with(rule), lines{"This condition only alerts; it starts no failover."});

    EXPECT_EQ(
        reason_with(view_of(
            {entry(history_kind::fault, 0, "B:server", "Backup: Server communication lost."),
             entry(history_kind::fault, 0, "A:server", "Main: Server communication lost.")})),
        lines{"Both servers were lost together: then the workstation may be the one that is cut "
              "off, and operation stays."});

    explain_view settings = view_of({main_fault()});
    EXPECT_EQ(reason_with(settings),
              lines{"It may have been disarmed, or the pair disabled: the log does not tell."});
    settings.policy->armed = false;
    settings.enabled = false;
    EXPECT_EQ(reason_with(settings),
              (lines{"Automatic failover is disarmed now.", "The pair is disabled now.",
                     "The log does not tell whether that was so then."}));
}

TEST(explain, makes_no_reason_of_settings_that_nobody_tells) {
    const lines any_setting{"It may have been disarmed, the pair disabled, or this condition may "
                            "only alert: the log does not tell."};
    for (const auto& fault :
         {main_fault(), entry(history_kind::fault, 0, "A:clock",
                              "Main: Engaged external clock is unavailable or unlocked.")}) {
        explain_view view = view_of({fault});
        view.enabled.reset();
        view.held_on_backup.reset();
        view.policy.reset();
        EXPECT_EQ(explain(view).reasons, any_setting);
        view.enabled = true;
        EXPECT_EQ(explain(view).reasons, any_setting);
        view.enabled = false;
        EXPECT_EQ(explain(view).reasons,
                  (lines{"The pair is disabled now.",
                         "The log does not tell whether that was so then."}));
    }
    explain_view unarmed = view_of({main_fault()});
    unarmed.enabled.reset();
    unarmed.policy->armed = false;
    EXPECT_EQ(explain(unarmed).reasons, (lines{"Automatic failover is disarmed now.",
                                               "The log does not tell whether that was so then."}));
}

TEST(explain, goes_by_the_log_where_nobody_tells_of_a_hold) {
    explain_view view = view_of({moved(-11 * minute, failed_over), main_fault()});
    view.held_on_backup.reset();
    EXPECT_EQ(explain(view).outcome, operation_outcome::moved);
}

TEST(explain, takes_the_event_of_the_moment_in_question) {
    explain_view view = view_of({main_fault(minute), moved(5, failed_over)});
    const auto outcome_at = [&](std::int64_t after_fault) {
        ask_at(view, after_fault);
        return explain(view).outcome;
    };
    EXPECT_EQ(outcome_at(-1), operation_outcome::no_fault);
    EXPECT_EQ(outcome_at(0), operation_outcome::moved) << "the transfer is of the same moment";
    EXPECT_EQ(outcome_at(10 * minute + 5), operation_outcome::moved);
    EXPECT_EQ(outcome_at(10 * minute + 6), operation_outcome::no_fault);
    view.about_now = true;
    EXPECT_EQ(explain(view).outcome, operation_outcome::moved) << "the last event counts";
}

TEST(explain, tells_the_transfer_whatever_happens_to_main_during_the_hold) {
    const history_entry later =
        entry(history_kind::fault, minute, "A:server", "Main: Server communication lost.");
    std::vector<history_entry> history{main_fault(), moved(5, failed_over), later};
    explain_view held = view_of(history);
    held.held_on_backup = true;
    EXPECT_EQ(explain(held).outcome, operation_outcome::moved);
    history.push_back(moved(2 * minute, "Operator requested transfer; operating on Main."));
    EXPECT_EQ(explain(view_of(history)).summary, "The operator moved operation to Main.");
    history.push_back(later);
    history.back().begun = fault_time + 3 * minute;
    EXPECT_EQ(explain(view_of(history)).outcome, operation_outcome::stayed);
}

TEST(explain, names_the_failover_that_a_return_to_main_followed) {
    std::vector<history_entry> history{
        main_fault(minute), moved(0, failed_over),
        moved(5 * minute, "Operator requested transfer; operating on Main.")};
    const explanation told = explain(view_of(history));
    EXPECT_EQ(told.summary, "The operator moved operation to Main.");
    EXPECT_EQ(told.reasons, lines{"Before that, at 20:14:03, operation had moved to Backup because "
                                  "of Main: Engine stopped or exited."});
    EXPECT_EQ(story_of(told)[0],
              "20:14:03 Moved to Backup because of Main: Engine stopped or exited.");
    history[1].message = "Operator requested transfer; operating on Backup.";
    EXPECT_TRUE(explain(view_of(history)).reasons.empty());
}

TEST(explain, believes_the_program_about_the_hold_of_now) {
    std::vector<history_entry> history{moved(-11 * minute, failed_over), main_fault()};
    EXPECT_EQ(explain(view_of(history)).reasons,
              lines{"It may have been disarmed, or the pair disabled: the log does not tell."})
        << "the pair was changed since";
}

TEST(explain, says_that_a_block_ended_in_a_transfer) {
    explain_view view = view_of(
        {main_fault(), entry(history_kind::blocked, 0, "failover-blocked", not_ready, 30 * minute),
         moved(30 * minute, failed_over)});
    ask_at(view, 0, minute);
    const explanation told = explain(view);
    EXPECT_EQ(told.outcome, operation_outcome::blocked);
    EXPECT_EQ(told.reasons.back(), "Operation moved to Backup at 20:44:03.");
    EXPECT_EQ(story_of(told).back(), "20:44:03 Moved to Backup.");
}

TEST(explain, finds_a_fault_that_lasts_however_long) {
    explain_view view = view_of({main_fault(60 * minute)});
    ask_at(view, 60 * minute);
    EXPECT_EQ(explain(view).outcome, operation_outcome::stayed);
    ask_at(view, 60 * minute + 1);
    EXPECT_EQ(explain(view).outcome, operation_outcome::no_fault);
}

TEST(explain, says_what_the_program_does_not_see) {
    explain_view view = view_of({});
    EXPECT_EQ(explain(view).summary, "The program saw no fault of Main.");
    EXPECT_EQ(explain(view).reasons.size(), 1U);
    view.policy->engine = mode_ignore;
    EXPECT_EQ(explain(view).reasons[0],
              "Conditions that are ignored now: Engine stopped or exited.");
    view.about_now = false;
    EXPECT_EQ(explain(view).summary, "The program saw no fault of Main at that time.");
}

TEST(explain, gives_no_all_clear_for_a_time_that_it_has_not_read) {
    explain_view view = view_of({});
    ask_at(view, 0, minute);
    view.log_begins = fault_time;
    view.older_left_out = true;
    EXPECT_EQ(explain(view).outcome, operation_outcome::no_fault) << "the log reaches back so far";
    view.log_begins = fault_time + 1;
    const explanation told = explain(view);
    EXPECT_EQ(told.outcome, operation_outcome::unknown);
    EXPECT_EQ(told.summary, "The alert log begins at 2026-03-10 20:14:03; it does not tell.");
    const tool_answer answer = answer_explanation(told, 0);
    EXPECT_EQ(answer.exit, tool_exit::could_not_look);
    EXPECT_EQ(answer.tree["outcome"], "unknown");
    EXPECT_EQ(answer.tree["olderLeftOut"], true);
    view.about_now = true;
    EXPECT_EQ(explain(view).outcome, operation_outcome::unknown);
}

TEST(explain, says_where_a_log_begins_that_is_younger_than_the_question) {
    explain_view view = view_of({});
    ask_at(view, -minute);
    view.log_begins = fault_time;
    EXPECT_EQ(explain(view).outcome, operation_outcome::no_fault);
    EXPECT_EQ(explain(view).reasons[0], "The alert log begins at 2026-03-10 20:14:03.");
    ask_at(view, 0);
    EXPECT_EQ(explain(view).reasons.size(), 1U);
}

TEST(explain, adds_what_is_so_now) {
    explain_view view = view_of({});
    view.presence = program_presence::not_running;
    view.held_on_backup = true;
    const lines reasons = explain(view).reasons;
    ASSERT_EQ(reasons.size(), 3U);
    EXPECT_EQ(reasons[1], "The program is not running.");
    EXPECT_EQ(reasons[2], "Operation is held on Backup now.");
    view.about_now = false;
    EXPECT_EQ(explain(view).reasons.size(), 2U);
}

TEST(explain, is_answered_as_text_and_as_a_tree) {
    const tool_answer answer =
        answer_explanation(explain(view_of({main_fault(), moved(129, failed_over)})), 2);
    EXPECT_EQ(answer.exit, tool_exit::findings);
    EXPECT_EQ(answer.text, "Operation moved to Backup because of Main: Engine stopped or exited.\n"
                           "- Automatic failover was armed, and Backup was ready.\n"
                           "2026-03-10\n"
                           "20:14:03  Main: Engine stopped or exited.\n"
                           "20:14:03  Moved to Backup.\n"
                           "Damaged lines of the log, left out: 2\n");
    EXPECT_EQ(answer.tree["outcome"], "moved");
    EXPECT_EQ(answer.tree["story"][1]["timeLocal"], local_moment(fault_time + 129));
    EXPECT_EQ(answer.tree["damagedLines"], 2);
    EXPECT_EQ(answer_explanation(explain(view_of({})), 0).exit, tool_exit::all_well);
}

TEST(explain, names_what_else_happened_in_the_asked_time) {
    explain_view view =
        view_of({moved(-minute, "Operator requested transfer; operating on Main."),
                 entry(history_kind::fault, 0, "B:engine", "Backup: Engine stopped or exited."),
                 entry(history_kind::command, 0, "", "Test action / T: sent."), main_fault(),
                 entry(history_kind::fault, 5001, "A:clock", "Main: The clock is gone.")});
    ask_at(view, 0, 5000);
    explanation told = explain(view);
    EXPECT_EQ(told.story.front().time, fault_time);
    EXPECT_TRUE(told.others.empty()) << "the story has them";
    view.history.erase(view.history.begin() + 3);
    told = explain(view);
    EXPECT_EQ(told.summary, "The operator moved operation to Main.");
    ASSERT_EQ(told.others.size(), 1U);
    EXPECT_EQ(told.others[0].time, fault_time);
    EXPECT_EQ(told.others[0].text, "Backup: Engine stopped or exited.");
    const tool_answer answer = answer_explanation(told, 0);
    EXPECT_NE(answer.text.find("Also in that time:\n2026-03-10\n20:14:03  Backup: Engine"),
              std::string::npos);
    EXPECT_EQ(answer.tree["others"][0]["time"], fault_time);
    view.about_now = true;
    EXPECT_TRUE(explain(view).others.empty());
}

// The lines of one cycle have one time.
TEST(explain, names_another_event_that_began_when_the_told_one_ended) {
    explain_view view =
        view_of({main_fault(15'000), moved(0, failed_over),
                 entry(history_kind::fault, 15'000, "A:clock", "Main: The clock is gone.")});
    ask_at(view, 0, minute);
    const explanation told = explain(view);
    EXPECT_EQ(told.outcome, operation_outcome::moved);
    ASSERT_EQ(told.others.size(), 1U);
    EXPECT_EQ(told.others[0].text, "Main: The clock is gone.");
}

TEST(explain, lists_ten_other_events_and_counts_the_rest) {
    explanation told;
    told.others.resize(10, {.time = fault_time, .text = "x"});
    EXPECT_EQ(answer_explanation(told, 0).text.find(" more:"), std::string::npos);
    told.others.resize(12, {.time = fault_time, .text = "x"});
    EXPECT_NE(answer_explanation(told, 0).text.find("x\nand 2 more: timeline lists them all.\n"),
              std::string::npos);
}
