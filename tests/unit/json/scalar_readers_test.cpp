#include "json/escape.hpp"
#include "json/field_scanner.hpp"

#include <gtest/gtest.h>

#include <limits>

using namespace elvantris::operator_control;

namespace {

constexpr std::string_view fallback = "(default)";

// The object that holds the raw value under the key "a".
std::string holding(std::string_view value) {
    return R"({"a":)" + std::string(value) + "}";
}

std::string read_text(std::string_view quoted) {
    return json_read_string(holding(quoted), "a", fallback);
}

} // namespace

TEST(json_readers, give_the_default_for_a_missing_value) {
    for (const std::string_view text :
         {"", "{}", R"({"a":)", R"({"a": )", R"({"a")", R"({"a":null})", R"({"b":true})"}) {
        EXPECT_TRUE(json_read_bool(text, "a", true)) << text;
        EXPECT_FALSE(json_read_bool(text, "a", false)) << text;
        EXPECT_EQ(json_read_int(text, "a", -7), -7) << text;
        EXPECT_EQ(json_read_int64(text, "a", 8), 8) << text;
        EXPECT_EQ(json_read_string(text, "a", fallback), fallback) << text;
        EXPECT_EQ(json_read_string(text, "a"), "") << text;
        EXPECT_EQ(json_read_array_text(text, "a"), "") << text;
        EXPECT_TRUE(json_read_object_list(text, "a").empty()) << text;
        EXPECT_TRUE(json_read_int_set(text, "a").empty()) << text;
    }
}

TEST(json_read_bool, tests_for_the_words_as_prefixes) {
    for (const std::string_view value : {"true", " true", "trueish", "true,\"a\":false", "\ttrue"})
        EXPECT_TRUE(json_read_bool(holding(value), "a", false)) << value;
    for (const std::string_view value : {"false", " false", "falsely"})
        EXPECT_FALSE(json_read_bool(holding(value), "a", true)) << value;
    EXPECT_TRUE(json_read_bool(R"({"a":true)", "a", false));
    EXPECT_FALSE(json_read_bool(R"({"a":false)", "a", true));
}

TEST(json_read_bool, gives_the_default_for_anything_else) {
    for (const std::string_view value :
         {"\"true\"", "\"false\"", "1", "0", "True", "FALSE", "tru", "fals", "[true]", "{}"}) {
        EXPECT_TRUE(json_read_bool(holding(value), "a", true)) << value;
        EXPECT_FALSE(json_read_bool(holding(value), "a", false)) << value;
    }
}

TEST(json_read_int, takes_sign_and_digits_and_ignores_what_follows) {
    struct {
        std::string_view value;
        std::int32_t number;
    } const cases[] = {
        {"0", 0},           {"7", 7},
        {"-7", -7},         {"+7", 7},
        {"007", 7},         {"-0", 0},
        {"12abc", 12},      {"1.9", 1},
        {"-1.9", -1},       {"1e3", 1},
        {"\n\t 5 6", 5},    {"2147483647", 2147483647},
        {"0000000012", 12}, {"-2147483648", std::numeric_limits<std::int32_t>::min()},
    };
    for (const auto& [value, number] : cases)
        EXPECT_EQ(json_read_int(holding(value), "a", 99), number) << value;
}

TEST(json_read_int, saturates_at_the_limits_of_32_bits) {
    constexpr std::int32_t highest = std::numeric_limits<std::int32_t>::max();
    constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();
    EXPECT_EQ(json_read_int(holding("2147483646"), "a", 0), highest - 1);
    EXPECT_EQ(json_read_int(holding("2147483648"), "a", 0), highest);
    EXPECT_EQ(json_read_int(holding("99999999999999999999999"), "a", 0), highest);
    EXPECT_EQ(json_read_int(holding("-2147483647"), "a", 0), lowest + 1);
    EXPECT_EQ(json_read_int(holding("-2147483649"), "a", 0), lowest);
    EXPECT_EQ(json_read_int(holding("-99999999999999999999999"), "a", 0), lowest);
}

TEST(json_read_int64, saturates_at_the_limits_of_64_bits) {
    constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();
    constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
    EXPECT_EQ(json_read_int64(holding("2147483648"), "a", 0), 2147483648);
    EXPECT_EQ(json_read_int64(holding("9223372036854775806"), "a", 0), highest - 1);
    EXPECT_EQ(json_read_int64(holding("9223372036854775807"), "a", 0), highest);
    EXPECT_EQ(json_read_int64(holding("9223372036854775808"), "a", 0), highest);
    EXPECT_EQ(json_read_int64(holding("-9223372036854775807"), "a", 0), lowest + 1);
    EXPECT_EQ(json_read_int64(holding("-9223372036854775808"), "a", 0), lowest);
    EXPECT_EQ(json_read_int64(holding("-9223372036854775809"), "a", 0), lowest);
}

TEST(json_read_int, gives_the_default_without_a_digit) {
    for (const std::string_view value :
         {"\"7\"", "-", "+", "- 7", "--7", "+-7", ".5", "x1", "true", "[1]", ""}) {
        EXPECT_EQ(json_read_int(holding(value), "a", 99), 99) << value;
        EXPECT_EQ(json_read_int64(holding(value), "a", 99), 99) << value;
    }
}

TEST(json_read_string, copies_all_but_backslashes_as_they_stand) {
    EXPECT_EQ(read_text(R"("x")"), "x");
    EXPECT_EQ(read_text(R"("")"), "");
    EXPECT_EQ(read_text("\"\t\n\x01\x7f\xc3\xa9\xff\""), "\t\n\x01\x7f\xc3\xa9\xff");
    EXPECT_EQ(read_text(R"("{a:[,]}")"), "{a:[,]}");
    EXPECT_EQ(json_read_string(R"({"a":"x")", "a", fallback), "x");
    EXPECT_EQ(json_read_string(R"({"role":"serial","serial":"X"})", "serial"), "X");
    const std::string long_text(1000, 'y');
    EXPECT_EQ(read_text('"' + long_text + '"'), long_text);
}

TEST(json_read_string, resolves_every_escape) {
    EXPECT_EQ(read_text(R"("\"\\\/\b\f\n\r\t")"), "\"\\/\b\f\n\r\t");
    EXPECT_EQ(read_text(R"("a\\")"), "a\\");
    EXPECT_EQ(read_text(R"("\\u0041")"), "\\u0041");
    EXPECT_EQ(read_text(R"("\u0000x")"), std::string("\0x", 2));
}

TEST(json_read_string, writes_each_code_point_as_utf_8) {
    struct {
        std::string_view escaped;
        std::string_view bytes;
    } const cases[] = {
        {R"("\u0041")", "A"},
        {R"("\u007f")", "\x7f"},
        {R"("\u0080")", "\xc2\x80"},
        {R"("\u00E9\u00e9")", "\xc3\xa9\xc3\xa9"},
        {R"("\u07ff")", "\xdf\xbf"},
        {R"("\u0800")", "\xe0\xa0\x80"},
        {R"("\ud7ff")", "\xed\x9f\xbf"},
        {R"("\ue000")", "\xee\x80\x80"},
        {R"("\uffff")", "\xef\xbf\xbf"},
        {R"("\ud800\udc00")", "\xf0\x90\x80\x80"},
        {R"("\ud83d\ude00")", "\xf0\x9f\x98\x80"},
        {R"("\uD83D\uDE00!")", "\xf0\x9f\x98\x80!"},
        {R"("\udbff\udfff")", "\xf4\x8f\xbf\xbf"},
    };
    for (const auto& [escaped, bytes] : cases)
        EXPECT_EQ(read_text(escaped), bytes) << escaped;
}

TEST(json_read_string, gives_the_default_for_one_bad_escape) {
    for (const std::string_view value :
         {R"("\q")",           R"("x\q")",          R"("\u")",           R"("\u12")",
          R"("\u123")",        R"("\u123g")",       R"("\u 123")",       R"("\U0041")",
          R"("\x41")",         R"("\'")",           R"("\ud83d")",       R"("\ud83dx")",
          R"("\ud83d\n")",     R"("\ud83d\ud83d")", R"("\ud83d\u0041")", R"("\ud83d\udbff")",
          R"("\ud83d\ue000")", R"("\ud83d\ude0")",  R"("\ude00")",       R"("\udc00")",
          R"("\udfff")",       R"("\ude00\ud83d")"})
        EXPECT_EQ(read_text(value), fallback) << value;
}

TEST(json_read_string, gives_the_default_for_a_string_that_does_not_end) {
    for (const std::string_view text :
         {R"({"a":")", R"({"a":"x)", R"({"a":"x\)", R"({"a":"x\")", R"({"a":"\u)", R"({"a":"\u004)",
          R"({"a":"\u0041)", R"({"a":"\ud83d)", R"({"a":"\ud83d\)", R"({"a":"\ud83d\u)",
          R"({"a":"\ud83d\ude0)", R"({"a":"\ud83d\ude00)"})
        EXPECT_EQ(json_read_string(text, "a", fallback), fallback) << text;
}

TEST(json_read_string, gives_the_default_for_another_type) {
    for (const std::string_view value : {"1", "true", "['x']", R"(["x"])", R"({"b":"x"})", "'x'"})
        EXPECT_EQ(read_text(value), fallback) << value;
}

TEST(json_read_string, gives_back_every_byte_that_was_escaped) {
    std::string all_bytes;
    for (int code = 0; code < 256; ++code)
        all_bytes += static_cast<char>(code);
    EXPECT_EQ(read_text('"' + json_escape(all_bytes) + '"'), all_bytes);
}

TEST(json_read_string_pair, takes_the_first_key_unless_it_gives_nothing) {
    struct {
        std::string_view text;
        std::string_view value;
    } const cases[] = {
        {R"({"Serial":"A","serial":"b"})", "A"},
        {R"({"serial":"b","Serial":"A"})", "A"},
        {R"({"Serial":"","serial":"ABC"})", "ABC"},
        {R"({"serial":"b"})", "b"},
        {R"({"Serial":5,"serial":"b"})", "b"},
        {R"({"Serial":"\q","serial":"b"})", "b"},
        {R"({"Serial":"A"})", "A"},
        {R"({"Serial":"","serial":""})", ""},
        {R"({"Serial":"","serial":5})", ""},
        {"{}", ""},
    };
    for (const auto& [text, value] : cases)
        EXPECT_EQ(json_read_string_pair(text, "Serial", "serial"), value) << text;
}
