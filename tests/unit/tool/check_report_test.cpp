#include "tool/check_report.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

TEST(check_report, is_one_word_if_all_is_well) {
    const tool_answer answer = answer_check({}, {});
    EXPECT_EQ(answer.text, "READY\n");
    EXPECT_EQ(answer.exit, tool_exit::all_well);
    EXPECT_EQ(answer.tree.dump(),
              R"({"ready":true,"findings":[],"longestSequenceMs":{"backup":0,"main":0}})");
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
