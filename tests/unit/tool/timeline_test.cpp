#include "tool/timeline.hpp"

#include "tool/local_time.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

const std::int64_t noon = read_local_time("2026-03-10 12:00:00", 0)->first;

alert_line fault(std::int64_t time, const std::string& key, const std::string& message) {
    return {.time = time, .event = alert_event::fault, .key = key, .message = message};
}

const std::string sent = "Transfer to Backup / R: sent; device execution unconfirmed.";

// A failover with one command, and the end of Main's fault.
alert_log_part failover() {
    return {
        .lines = {fault(noon, "A:engine", "Main: Engine stopped or exited."),
                  fault(noon + 5, "transfer", "Engine stopped or exited.; operating on Backup."),
                  {.time = noon + 1010,
                   .event = alert_event::action,
                   .key = {},
                   .message = "Transfer to Backup / \"R\": sent"},
                  {.time = noon + 127'000,
                   .event = alert_event::recovered,
                   .key = "A:engine",
                   .message = {}}},
        .damaged = 0,
        .begins_later = false};
}

std::size_t count_between(std::int64_t since, std::int64_t until) {
    return timeline_between(failover(), since, until).entries.size();
}

} // namespace

TEST(timeline, has_local_times_and_durations) {
    const tool_answer answer = answer_timeline(timeline_between(failover(), 0, end_of_time));
    EXPECT_EQ(answer.text, "2026-03-10\n"
                           "12:00:00  fault    Main: Engine stopped or exited. (2 min 7 s)\n"
                           "12:00:00  moved    Engine stopped or exited.; operating on Backup. "
                           "(no end in the log)\n"
                           "12:00:01  command  Transfer to Backup / \"R\": sent\n");
    EXPECT_EQ(answer.exit, tool_exit::findings);
    const json_tree& first = answer.tree["timeline"][0];
    EXPECT_EQ(first["kind"], "fault");
    EXPECT_EQ(first["durationMs"], 127'000);
    EXPECT_EQ(first["begunLocal"], local_moment(noon));
    EXPECT_TRUE(answer.tree["timeline"][1]["ended"].is_null());
}

TEST(timeline, writes_a_table) {
    EXPECT_EQ(timeline_csv(timeline_between(failover(), 0, end_of_time)),
              "begun,ended,duration_ms,kind,message\n" + local_moment(noon) + ',' +
                  local_moment(noon + 127'000) +
                  ",127000,fault,"
                  "\"Main: Engine stopped or exited.\"\n" +
                  local_moment(noon + 5) +
                  ",,,moved,"
                  "\"Engine stopped or exited.; operating on Backup.\"\n" +
                  local_moment(noon + 1010) +
                  ",,,command,\"Transfer to Backup / \"\"R\"\": sent\"\n");
}

TEST(timeline, keeps_what_lasted_in_the_time_that_was_asked_for) {
    EXPECT_EQ(count_between(0, end_of_time), 3U);
    EXPECT_EQ(count_between(noon + 1011, end_of_time), 1U) << "the command is over";
    EXPECT_EQ(count_between(noon + 127'000, end_of_time), 1U);
    EXPECT_EQ(count_between(noon + 127'001, end_of_time), 0U);
    EXPECT_EQ(count_between(0, noon + 4), 1U);
    EXPECT_EQ(count_between(0, noon - 1), 0U);
}

// The servers were switched off first, and then the program: nothing of this has an end.
TEST(timeline, leaves_out_what_an_evening_left_without_an_end) {
    const alert_log_part evening{
        .lines = {fault(noon, "A:server", "Main: Server communication lost."),
                  fault(noon, "B:server", "Backup: Server communication lost.")},
        .damaged = 0,
        .begins_later = false};
    EXPECT_EQ(timeline_between(evening, noon, end_of_time).entries.size(), 2U);
    const timeline next_day = timeline_between(evening, noon + 1, end_of_time);
    EXPECT_EQ(answer_timeline(next_day).exit, tool_exit::all_well);
    EXPECT_EQ(answer_timeline(next_day).text, "Nothing happened in this time.\n");
}

TEST(timeline, keeps_what_the_program_says_lasts) {
    const alert_record active{.key = {},
                              .message = "Engine stopped or exited.; operating on Backup.",
                              .started = noon + 5,
                              .active = true};
    protection_snapshot program;
    program.alerts = {active};
    const timeline shown = timeline_between(failover(), noon + 200'000, end_of_time, &program);
    ASSERT_EQ(shown.entries.size(), 1U);
    const tool_answer answer = answer_timeline(shown);
    EXPECT_EQ(answer.text, "2026-03-10\n12:00:00  moved    Engine stopped or exited.; operating on "
                           "Backup. (still lasts)\n");
    EXPECT_EQ(answer.tree["timeline"][0]["lasts"], true);
}

TEST(timeline, says_that_the_program_uses_another_folder) {
    timeline shown;
    shown.note = "The running program uses another configuration file: x.";
    EXPECT_EQ(answer_timeline(shown).text, "Nothing happened in this time.\n" + shown.note + '\n');
    EXPECT_EQ(answer_timeline(shown).tree["note"], shown.note);
}

TEST(timeline, says_that_nothing_happened) {
    const tool_answer answer = answer_timeline(timeline_between({}, 0, end_of_time));
    EXPECT_EQ(answer.text, "Nothing happened in this time.\n");
    EXPECT_EQ(answer.exit, tool_exit::all_well);
    EXPECT_TRUE(answer.tree["timeline"].empty());
}

TEST(timeline, finds_faults_and_blocks_and_commands_that_failed) {
    const auto exit_with = [](history_kind kind, const std::string& message = sent) {
        return answer_timeline(
                   {.entries =
                        {{.kind = kind, .begun = noon, .ended = {}, .key = {}, .message = message}},
                    .damaged = 0,
                    .begins_later = false,
                    .note = {}})
            .exit;
    };
    EXPECT_EQ(exit_with(history_kind::fault), tool_exit::findings);
    EXPECT_EQ(exit_with(history_kind::blocked), tool_exit::findings);
    EXPECT_EQ(exit_with(history_kind::transfer), tool_exit::all_well);
    EXPECT_EQ(exit_with(history_kind::command), tool_exit::all_well);
    EXPECT_EQ(exit_with(history_kind::command, "Transfer to Backup / R: No connection."),
              tool_exit::findings)
        << "a command that fails again has no new alert";
}

TEST(timeline, counts_damaged_and_left_out_lines) {
    const tool_answer answer =
        answer_timeline({.entries = {}, .damaged = 2, .begins_later = true, .note = {}});
    EXPECT_EQ(answer.text, "Nothing happened in this time.\n"
                           "The log is long: older events are left out.\n"
                           "Damaged lines of the log, left out: 2\n");
    EXPECT_EQ(answer.exit, tool_exit::findings);
    EXPECT_EQ(answer.tree["damagedLines"], 2);
    EXPECT_EQ(answer.tree["olderLeftOut"], true);
}

TEST(timeline, has_no_duration_after_the_clock_was_set_back) {
    alert_log_part log = failover();
    log.lines.back().time = noon - 1000;
    const tool_answer answer = answer_timeline(timeline_between(log, 0, end_of_time));
    EXPECT_TRUE(answer.tree["timeline"][0]["durationMs"].is_null());
    EXPECT_NE(answer.text.find("exited. (the clock was set back)\n"), std::string::npos);
    EXPECT_NE(timeline_csv(timeline_between(log, 0, end_of_time)).find(",,fault,"),
              std::string::npos);
}
