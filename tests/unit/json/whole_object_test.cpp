#include "json/field_scanner.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

TEST(json_is_whole_object, takes_one_object_with_nothing_but_white_space_around_it) {
    for (const std::string text : {"{}", " \t\r\n{ }\n", R"({"a":{"b":{}},"c":[{},{}]})",
                                   R"({"a":"}{"})", R"({"a":"\"}","b":"\\"})", R"({"a":"\\\"{"})"})
        EXPECT_TRUE(json_is_whole_object(text)) << text;
}

TEST(json_is_whole_object, refuses_all_else) {
    for (const std::string text :
         {"", " ", "x", "[]", "[{}]", "\"{}\"", "{", "}", "{}}", "{}{}", "{},", "x{}", "{} x",
          R"({"a":{})", R"({"a":"})", R"({"a":"\"})", "\xef\xbb\xbf{}"})
        EXPECT_FALSE(json_is_whole_object(text)) << text;
    EXPECT_FALSE(json_is_whole_object(std::string("{}\0", 3)));
    EXPECT_FALSE(json_is_whole_object(std::string(100, '\0')));
}

TEST(json_is_whole_object, refuses_an_object_that_is_cut_at_any_byte) {
    const std::string whole = R"({"a":"x\"}\\","b":[{"c":"{"},{}],"d":{"e":1}})";
    ASSERT_TRUE(json_is_whole_object(whole));
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_FALSE(json_is_whole_object(whole.substr(0, length))) << length;
}

TEST(json_object_is_cut,
     is_true_for_an_object_that_is_cut_at_any_byte_and_false_for_the_whole_one) {
    const std::string whole = R"({"a":"x\"}\\","b":[{"c":"{"},{}],"d":{"e":1}})";
    for (std::size_t length = 1; length < whole.size(); ++length)
        EXPECT_TRUE(json_object_is_cut(" \r\n" + whole.substr(0, length))) << length;
    EXPECT_FALSE(json_object_is_cut(whole));
}

TEST(json_object_is_cut, is_false_for_what_begins_with_no_object_or_goes_on_behind_one) {
    for (const std::string text : {"", " ", "x", "[", "[{", "\"{", "}", "{}}", "{}{", "{} x", "x{"})
        EXPECT_FALSE(json_object_is_cut(text)) << text;
}
