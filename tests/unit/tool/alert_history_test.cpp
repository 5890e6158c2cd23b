#include "tool/alert_history.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

alert_line fault(std::int64_t time, const std::string& key, const std::string& message) {
    return {.time = time, .event = alert_event::fault, .key = key, .message = message};
}

alert_line recovered(std::int64_t time, const std::string& key) {
    return {.time = time, .event = alert_event::recovered, .key = key, .message = {}};
}

alert_line action(std::int64_t time, const std::string& message) {
    return {.time = time, .event = alert_event::action, .key = {}, .message = message};
}

} // namespace

TEST(read_alert_line, reads_the_three_kinds_that_the_program_writes) {
    const auto begun = read_alert_line(
        R"({"time":1790000000123,"event":"fault","key":"A:engine","message":"Main: \"x\"\n"})");
    ASSERT_TRUE(begun);
    EXPECT_EQ(begun->time, 1790000000123);
    EXPECT_EQ(begun->event, alert_event::fault);
    EXPECT_EQ(begun->key, "A:engine");
    EXPECT_EQ(begun->message, "Main: \"x\"\n");

    const auto ended = read_alert_line(R"({"time":5,"event":"recovered","key":"A:engine"})");
    ASSERT_TRUE(ended);
    EXPECT_EQ(ended->event, alert_event::recovered);
    EXPECT_EQ(ended->key, "A:engine");

    const auto sent = read_alert_line(R"({"time":0,"event":"action","message":"sent"})");
    ASSERT_TRUE(sent);
    EXPECT_EQ(sent->event, alert_event::action);
    EXPECT_EQ(sent->message, "sent");
}

TEST(read_alert_line, refuses_whatever_is_damaged) {
    for (const char* line :
         {"", "x", "[]", "1", "null", R"({"time":1,"event":"fault","key":"k","message":"m")",
          R"({"time":1,"event":"fault","key":"k","message":"m"}{})",
          R"({"event":"fault","key":"k","message":"m"})",
          R"({"time":"1","event":"fault","key":"k","message":"m"})",
          R"({"time":1.5,"event":"fault","key":"k","message":"m"})",
          R"({"time":-1,"event":"fault","key":"k","message":"m"})",
          R"({"time":253402300800000,"event":"fault","key":"k","message":"m"})",
          R"({"time":99999999999999999999,"event":"fault","key":"k","message":"m"})",
          R"({"time":1,"event":"other","key":"k","message":"m"})",
          R"({"time":1,"event":"fault","message":"m"})", R"({"time":1,"event":"fault","key":"k"})",
          R"({"time":1,"event":"fault","key":1,"message":"m"})",
          R"({"time":1,"event":"recovered","message":"m"})",
          R"({"time":1,"event":"action","key":"k"})"})
        EXPECT_FALSE(read_alert_line(line)) << line;
    EXPECT_TRUE(read_alert_line(R"({"time":253402300799999,"event":"recovered","key":"k"})"));
}

TEST(read_alert_line, reads_a_name_that_is_not_utf_8) {
    const auto read = read_alert_line("{\"time\":1,\"event\":\"action\",\"message\":\"a\xff\"}");
    ASSERT_TRUE(read);
    EXPECT_EQ(read->message, "a\xEF\xBF\xBD");
}

TEST(time_of_alert_line, reads_the_front_alone) {
    EXPECT_EQ(time_of_alert_line(R"({"time":1790000000123,"event")"), 1790000000123);
    EXPECT_FALSE(time_of_alert_line(R"({ "time":1,"event")"));
    EXPECT_FALSE(time_of_alert_line(R"({"time":1)"));
    EXPECT_FALSE(time_of_alert_line(R"({"time":1x,)"));
    EXPECT_FALSE(time_of_alert_line(R"({"time":99999999999999999999,)"));
    EXPECT_FALSE(time_of_alert_line(R"({"time":-1,)"));
    EXPECT_FALSE(time_of_alert_line(R"({"time":253402300800000,)")) << "in the year 10000";
    EXPECT_FALSE(time_of_alert_line(""));
}

TEST(read_history, joins_a_fault_with_its_own_end) {
    const auto history = read_history({fault(10, "A:engine", "Main: stopped"),
                                       fault(11, "B:engine", "Backup: stopped"),
                                       recovered(20, "A:engine"), recovered(30, "C:engine")});
    ASSERT_EQ(history.size(), 2U);
    EXPECT_EQ(history[0].begun, 10);
    EXPECT_EQ(history[0].ended, 20);
    EXPECT_EQ(history[1].message, "Backup: stopped");
    EXPECT_FALSE(history[1].ended);
}

TEST(read_history, knows_transfers_blocks_and_commands) {
    const auto history = read_history(
        {fault(1, "A:engine", "m"), fault(1, "failover-blocked", "m"), fault(2, "transfer", "m"),
         fault(3, "transfer-storage", "m"),
         action(4, "Transfer to Backup / Router: sent; device execution unconfirmed.")});
    ASSERT_EQ(history.size(), 5U);
    EXPECT_EQ(history[0].kind, history_kind::fault);
    EXPECT_EQ(history[1].kind, history_kind::blocked);
    EXPECT_EQ(history[2].kind, history_kind::transfer);
    EXPECT_EQ(history[3].kind, history_kind::blocked);
    EXPECT_EQ(history[4].kind, history_kind::command);
}

TEST(read_history, tells_a_failed_command_once) {
    const auto history =
        read_history({fault(4, "action:Router:backup", "not sent"), action(4, "not sent"),
                      action(5, "not sent"), action(5, "sent")});
    ASSERT_EQ(history.size(), 3U);
    EXPECT_EQ(history[0].kind, history_kind::fault);
    EXPECT_EQ(history[1].begun, 5);
    EXPECT_EQ(history[2].message, "sent");
}

TEST(mark_lasting, believes_the_program_alone) {
    auto history = read_history({fault(1, "A:engine", "m"), fault(5, "A:engine", "m"),
                                 fault(6, "A:clock", "n"), recovered(7, "A:clock"),
                                 fault(8, "transfer", "t")});
    EXPECT_FALSE(history[1].lasted_at(6)) << "nobody knows";
    const auto alert = [](std::int64_t started, const std::string& message, bool active) {
        return alert_record{.key = {}, .message = message, .started = started, .active = active};
    };
    protection_snapshot program;
    program.alerts = {alert(5, "m", true), alert(6, "n", true), alert(8, "t", false)};
    program.held_on_backup = true; // the transfer went elsewhere
    mark_lasting(history, program);
    EXPECT_FALSE(history[0].lasts);
    EXPECT_TRUE(history[1].lasts);
    EXPECT_FALSE(history[2].lasts) << "its end is in the log";
    EXPECT_FALSE(history[3].lasts);
    EXPECT_TRUE(history[1].lasted_at(5));
    EXPECT_FALSE(history[1].lasted_at(4));
}

TEST(mark_lasting, takes_the_latest_transfer_for_one_that_lasts_while_operation_is_there) {
    const auto lasting = [](std::vector<alert_line> lines, bool held) {
        auto history = read_history(lines);
        protection_snapshot program;
        program.held_on_backup = held;
        mark_lasting(history, program);
        return history.back().lasts;
    };
    const auto to_backup = fault(1, "transfer", "Engine stopped or exited.; operating on Backup.");
    const auto to_main = fault(5, "transfer", "Operator requested transfer; operating on Main.");
    EXPECT_TRUE(lasting({to_backup}, true)) << "the program was restarted";
    EXPECT_FALSE(lasting({to_backup}, false)) << "a changed pair ended the hold";
    EXPECT_TRUE(lasting({to_backup, to_main}, false));
    EXPECT_FALSE(lasting({to_backup, recovered(9, "transfer")}, true)) << "its end is in the log";
    EXPECT_FALSE(lasting({fault(1, "A:engine", "m")}, true));
}

TEST(read_history, leaves_a_fault_without_end_where_the_same_one_begins_again) {
    const auto history = read_history(
        {fault(1, "A:engine", "m"), fault(5, "A:engine", "m"), recovered(9, "A:engine")});
    ASSERT_EQ(history.size(), 2U);
    EXPECT_FALSE(history[0].ended);
    EXPECT_EQ(history[1].ended, 9);
}
