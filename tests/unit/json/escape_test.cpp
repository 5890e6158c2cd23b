#include "json/escape.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

TEST(json_escape, gives_short_escapes_to_five_bytes_and_hexadecimal_ones_to_other_controls) {
    EXPECT_EQ(json_escape("\t\n\r\"\\"), R"(\t\n\r\"\\)");
    EXPECT_EQ(json_escape("\x01\x08\x0c\x1f"), R"(\u0001\u0008\u000c\u001f)");
}

TEST(json_escape, copies_all_other_bytes_unchecked) {
    EXPECT_EQ(json_escape("/ \x7f \xc3\xa9 \xff"), "/ \x7f \xc3\xa9 \xff");
    EXPECT_EQ(json_escape(std::string_view("\0", 1)), R"(\u0000)");
    EXPECT_EQ(json_escape(""), "");
}
