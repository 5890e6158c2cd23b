#include "tool/check_report.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

TEST(check_report, is_one_word_if_all_is_well) {
    const tool_answer answer = answer_check({}, {});
    EXPECT_EQ(answer.text, "READY\n");
    EXPECT_EQ(answer.exit, tool_exit::all_well);
    EXPECT_EQ(
        answer.tree.dump(),
        R"({"ready":true,"findings":[],"notes":[],"longestSequenceMs":{"backup":0,"main":0}})");
}

TEST(check_report, has_a_line_for_each_finding) {
    const tool_answer answer =
        answer_check({{.id = "armed", .sentence = "A is wrong.", .advice = "Do this."},
                      {.id = "deck", .sentence = "B is wrong.", .advice = "Do that."}},
                     {});
    EXPECT_EQ(answer.text, "NOT READY\n- A is wrong. Do this.\n- B is wrong. Do that.\n");
    EXPECT_EQ(answer.exit, tool_exit::findings);
    EXPECT_EQ(answer.tree["ready"], false);
    EXPECT_EQ(answer.tree["findings"][1].dump(),
              R"({"id":"deck","sentence":"B is wrong.","advice":"Do that."})");
}

TEST(check_report, is_ready_with_a_note) {
    const tool_answer answer =
        answer_check({}, {}, {{.id = "memory", .sentence = "A.", .advice = "Do this."}});
    EXPECT_EQ(answer.text, "READY\nNote: A. Do this.\n");
    EXPECT_EQ(answer.exit, tool_exit::all_well);
    EXPECT_EQ(answer.tree["notes"][0]["id"], "memory");
}

TEST(check_report, has_the_longest_sequences) {
    protection_policy policy;
    policy.actions = {{.name = "R",
                       .event = "main",
                       .host = "1.2.3.4",
                       .port = 1,
                       .payload = "x",
                       .delayMs = 100,
                       .timeoutMs = 3000,
                       .retries = 1,
                       .enabled = true}};
    EXPECT_EQ(answer_check({}, policy).tree["longestSequenceMs"].dump(),
              R"({"backup":0,"main":6100})");
}
