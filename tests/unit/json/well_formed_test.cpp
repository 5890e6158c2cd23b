#include "json/well_formed.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;
using namespace std::string_literals;

namespace {

std::string repeated(std::string_view piece, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
        text += piece;
    return text;
}

std::string quoted(const std::string& content) {
    return '"' + content + '"';
}

} // namespace

TEST(json_is_value, takes_every_kind_of_value) {
    for (const std::string text : {"null",
                                   "true",
                                   "false",
                                   "0",
                                   "-0",
                                   "7",
                                   "-12",
                                   "10.25",
                                   "0.5",
                                   "1e9",
                                   "1E+9",
                                   "-2.5e-10",
                                   "123456789012345678901234567890",
                                   "1e999",
                                   R"("")",
                                   R"("a")",
                                   "[]",
                                   "{}",
                                   "[1]",
                                   "[[],{}]",
                                   R"({"a":1})",
                                   R"({"":{},"a":[1,"2",null]})",
                                   R"([{"id":"a","available":true},{"id":"b"}])",
                                   " \t\r\n[ 1 , 2 ] \n",
                                   R"( { "a" : [ ] , "b" : { } } )"})
        EXPECT_TRUE(json_is_value(text)) << text;
}

TEST(json_is_value, refuses_what_is_no_value_or_more_than_one) {
    for (const std::string text : {"",
                                   " ",
                                   "nul",
                                   "nulll",
                                   "True",
                                   "[] []",
                                   "[]]",
                                   "1 2",
                                   "{}{}",
                                   "a",
                                   "'a'",
                                   "[1,]",
                                   "[,1]",
                                   "[,]",
                                   "[1 2]",
                                   "[1,,2]",
                                   "[",
                                   "[1",
                                   "[1,",
                                   "]",
                                   "{",
                                   R"({"a")",
                                   R"({"a":)",
                                   R"({"a":1)",
                                   R"({"a":1,})",
                                   R"({,"a":1})",
                                   R"({"a" 1})",
                                   R"({"a":})",
                                   R"({a:1})",
                                   R"({1:1})",
                                   R"({"a":1:2})",
                                   R"([{"id":"a"])",
                                   R"([{"id":"a"]])",
                                   R"({"a":[1}])",
                                   "[}",
                                   "{]",
                                   R"(["a":1])",
                                   R"({"a"})",
                                   R"({"a","b"})",
                                   "[1}",
                                   "//",
                                   "[/**/]",
                                   "NaN",
                                   "Infinity"})
        EXPECT_FALSE(json_is_value(text)) << text;
}

TEST(json_is_value, takes_numbers_as_the_grammar_has_them) {
    for (const std::string text : {"-", "+1", "01", "-01", "00", ".5", "1.", "1.e5", "1e", "1e+",
                                   "1e-", "0x10", "1.2.3", "1e5.0", "--1", "1_0", "1-", "-a"})
        EXPECT_FALSE(json_is_value(text)) << text;
}

TEST(json_is_value, knows_the_escapes_of_a_string) {
    for (const std::string content :
         {R"(\"\\\/\b\f\n\r\t)", R"(\u0000)", R"(\u00e9\uABCD)", R"(\ud83d\ude00)",
          // Half a pair is within the grammar, and every reader of a page takes it.
          R"(\ud83d)"})
        EXPECT_TRUE(json_is_value(quoted(content))) << content;
    for (const std::string content :
         {R"(\)", R"(\x41)", R"(\U0041)", R"(\u)", R"(\u12)", R"(\u123g)", R"(\ )", R"(\0)"})
        EXPECT_FALSE(json_is_value(quoted(content))) << content;
    for (const std::string text :
         {R"(")", R"("a)", R"("\)", R"("\u12)", R"("\")", R"("\u00a+3)", R"("\x5)"})
        EXPECT_FALSE(json_is_value(text)) << text;
}

TEST(json_is_value, refuses_raw_control_characters_in_a_string_and_blanks_of_another_kind) {
    for (int code = 0; code < 0x20; ++code)
        EXPECT_FALSE(json_is_value(quoted(std::string(1, static_cast<char>(code))))) << code;
    EXPECT_TRUE(json_is_value(quoted("\x7F")));
    for (const std::string text : {"[\v]", "[\f]", "[\xC2\xA0]", "\xEF\xBB\xBF[]"})
        EXPECT_FALSE(json_is_value(text)) << text;
    EXPECT_FALSE(json_is_value("[]\0"s));
}

TEST(json_is_value, refuses_bytes_that_are_no_utf_8) {
    for (const std::string character :
         {"\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xEC\xBF\xBF", "\xED\x9F\xBF", "\xEE\x80\x80",
          "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF3\xBF\xBF\xBF", "\xF4\x8F\xBF\xBF"})
        EXPECT_TRUE(json_is_value(quoted(character))) << character;
    for (const std::string bytes :
         {"\x80", "\xBF", "\xC0\x80", "\xC1\xBF", "\xC2", "\xC2\x41", "\xE0\x9F\xBF", "\xE2\x82",
          "\xED\xA0\x80", "\xED\xBF\xBF", "\xF0\x8F\xBF\xBF", "\xF0\x9F\x98", "\xF4\x90\x80\x80",
          "\xF5\x80\x80\x80", "\xFF", "B\xFChne"})
        EXPECT_FALSE(json_is_value(quoted(bytes))) << bytes;
}

TEST(json_is_value, takes_nesting_up_to_its_bound) {
    const auto nested = [](std::size_t depth, std::string_view open, std::string_view close) {
        return repeated(open, depth) + repeated(close, depth);
    };
    EXPECT_TRUE(json_is_value(nested(deepest_json_nesting, "[", "]")));
    EXPECT_FALSE(json_is_value(nested(deepest_json_nesting + 1, "[", "]")));
    EXPECT_TRUE(json_is_value(nested(deepest_json_nesting / 2, R"({"a":[)", "]}")));
    EXPECT_FALSE(json_is_value('[' + nested(deepest_json_nesting / 2, R"({"a":[)", "]}") + ']'));
    EXPECT_FALSE(json_is_value(repeated("[", 1'000'000)));
    EXPECT_TRUE(json_is_value('[' + repeated("[[]],", 100'000) + "0]"));
}
