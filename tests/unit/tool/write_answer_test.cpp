#include "tool/write_answer.hpp"

#include <gtest/gtest.h>

#include <sstream>

using namespace elvantris::operator_control;

namespace {

struct written {
    tool_exit exit;
    std::string output;
    std::string errors;

    bool operator==(const written&) const = default;
};

written write(const tool_answer& answer, bool as_json) {
    std::ostringstream output;
    std::ostringstream errors;
    const tool_exit exit = write_answer(answer, as_json, output, errors);
    return {.exit = exit, .output = output.str(), .errors = errors.str()};
}

const tool_answer found{
    .exit = tool_exit::findings, .text = "x\n", .tree = json_tree(7), .remarks = "y\n"};

} // namespace

TEST(write_answer, tells_a_person_and_a_program) {
    EXPECT_EQ(write(found, false), (written{tool_exit::findings, "x\n", "y\n"}));
    EXPECT_EQ(write(found, true), (written{tool_exit::findings, "7\n", ""}));
}

TEST(write_answer, gives_the_reason_for_no_answer_as_an_error) {
    const tool_answer none = could_not_look("No.");
    EXPECT_EQ(write(none, false), (written{tool_exit::could_not_look, "", "No.\n"}));
    EXPECT_EQ(write(none, true).errors, "");
}

TEST(write_answer, is_no_answer_if_the_disk_is_full) {
    std::ostringstream output;
    std::ostringstream errors;
    output.setstate(std::ios::badbit);
    EXPECT_EQ(write_answer(found, false, output, errors), tool_exit::could_not_look);
    EXPECT_EQ(errors.str(), "The answer could not be written.\n");
}

TEST(for_terminal, lets_no_message_steer_the_terminal) {
    EXPECT_EQ(for_terminal("a\x1b[2Jb\r\n\tc\x7f\b"), "a?[2Jb?\n\tc??");
    EXPECT_EQ(for_terminal("\xC2\x9B"
                           "1m\xC2\xA0\xC3\xBC\xC2"),
              "?1m\xC2\xA0\xC3\xBC\xC2");
}
