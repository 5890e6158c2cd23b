#include "text/scanning.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

TEST(parse_integer, tells_how_many_bytes_the_number_took) {
    struct {
        std::string_view text;
        std::int32_t value;
        std::size_t length;
    } const cases[] = {{"1", 1, 1},      {"  -12x", -12, 5}, {"+3,4", 3, 2},
                       {"\v\f9 ", 9, 3}, {"000", 0, 3},      {"12\t", 12, 2}};
    for (const auto& [text, value, length] : cases) {
        const auto parsed = parse_integer<std::int32_t>(text);
        ASSERT_TRUE(parsed) << text;
        EXPECT_EQ(parsed->value, value) << text;
        EXPECT_EQ(parsed->length, length) << text;
        EXPECT_FALSE(parsed->overflowed) << text;
    }
}

TEST(parse_integer, takes_a_sign_for_signed_types_alone) {
    EXPECT_EQ(parse_integer<std::int64_t>("-1")->value, -1);
    EXPECT_EQ(parse_integer<std::int64_t>("+1")->value, 1);
    EXPECT_FALSE(parse_integer<std::uint32_t>("-1"));
    EXPECT_FALSE(parse_integer<std::uint32_t>("+1"));
    EXPECT_EQ(parse_integer<std::uint32_t>(" 1")->value, 1U);
}

TEST(parse_integer, says_so_when_the_number_does_not_fit_and_takes_all_its_digits) {
    const auto fits = parse_integer<std::uint32_t>("4294967295");
    ASSERT_TRUE(fits);
    EXPECT_EQ(fits->value, 4294967295U);
    EXPECT_FALSE(fits->overflowed);

    const auto beyond = parse_integer<std::uint32_t>("4294967296 ");
    ASSERT_TRUE(beyond);
    EXPECT_EQ(beyond->value, 4294967295U);
    EXPECT_TRUE(beyond->overflowed);
    EXPECT_EQ(beyond->length, 10U);

    EXPECT_TRUE(parse_integer<std::int32_t>("-99999999990")->overflowed);
    EXPECT_FALSE(parse_integer<std::int32_t>("-2147483648")->overflowed);
}

TEST(parse_integer, is_absent_without_a_digit) {
    for (const std::string_view text : {"", " ", "-", "+", "x1", "- 1", "\xc2\xb9"})
        EXPECT_FALSE(parse_integer<std::int32_t>(text)) << text;
}

TEST(hex_digit_value, knows_both_cases_and_nothing_beside_them) {
    EXPECT_EQ(hex_digit_value('0'), 0);
    EXPECT_EQ(hex_digit_value('9'), 9);
    EXPECT_EQ(hex_digit_value('a'), 10);
    EXPECT_EQ(hex_digit_value('f'), 15);
    EXPECT_EQ(hex_digit_value('A'), 10);
    EXPECT_EQ(hex_digit_value('F'), 15);
    for (const char byte : {'/', ':', '@', 'G', '`', 'g', ' ', '\0', '\xff'})
        EXPECT_EQ(hex_digit_value(byte), -1) << byte;
}

TEST(split_first_two_tokens, takes_what_white_space_separates) {
    struct {
        std::string_view line;
        std::string_view first;
        std::string_view second;
    } const cases[] = {{"HTTP/1.1 200 OK", "HTTP/1.1", "200"},
                       {"  a \t b", "a", "b"},
                       {"alone", "alone", ""},
                       {"alone ", "alone", ""},
                       {" ", "", ""},
                       {"", "", ""}};
    for (const auto& [line, first, second] : cases) {
        const first_two_tokens tokens = split_first_two_tokens(line);
        EXPECT_EQ(tokens.first, first) << line;
        EXPECT_EQ(tokens.second, second) << line;
    }
}
