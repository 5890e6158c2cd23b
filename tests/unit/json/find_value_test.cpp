#include "json/field_scanner.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

// What the text reads from the value's first byte on; the word for none where there is no value.
std::string value_of(std::string_view text, std::string_view key) {
    const std::size_t at = json_find_value(text, key);
    return at == npos ? "npos" : std::string(text.substr(at));
}

// The span of the value; the word for none where there is no span.
std::string span_of(std::string_view text, std::string_view key) {
    std::size_t start = 0;
    std::size_t end = 0;
    if (!find_json_value_span(text, key, start, end)) return "none";
    return std::string(text.substr(start, end - start));
}

} // namespace

TEST(json_find_value, takes_the_first_occurrence_of_the_quoted_key_and_the_next_colon) {
    struct {
        std::string_view text;
        std::string_view key;
        std::string_view value;
    } const cases[] = {
        {R"({"a":1})", "a", "1}"},
        {R"({"a":{"b":1},"b":2})", "b", "1},\"b\":2}"},
        {R"({"role":"serial","serial":"X"})", "serial", R"("X"})"},
        {R"({"a" anything, at all : 7})", "a", "7}"},
        {R"(["a",{"x":5}])", "a", "5}]"},
        {R"({"ab":1,"b":2})", "b", "2}"},
        {R"({"A":1,"a":2})", "a", "2}"},
        {R"({"":3})", "", "3}"},
        {R"({"":3})", "\"", "npos"},
        {R"({"x":"\"a\":1","a":2})", "a", "2}"},
        {R"("a":)", "a", ""},
    };
    for (const auto& [text, key, value] : cases)
        EXPECT_EQ(value_of(text, key), value) << text << " key " << key;
}

TEST(json_find_value, is_npos_without_the_key_or_without_a_colon_behind_it) {
    for (const std::string_view text :
         {"", "a", "\"a", "a\":1", "{\"b\":1}", "{\"ab\":1}", "\"a\"", "{\"a\"", "{\"x\":\"a\"}"})
        EXPECT_EQ(json_find_value(text, "a"), npos) << text;
}

TEST(json_find_value, is_the_length_of_a_text_that_ends_behind_the_colon) {
    for (const std::string_view text : {"{\"a\":", "{\"a\": ", "{\"a\": \t\n\v\f\r"})
        EXPECT_EQ(json_find_value(text, "a"), text.size()) << text;
}

TEST(json_find_value, skips_the_six_white_space_bytes_and_no_others) {
    EXPECT_EQ(value_of("\"a\": \t\n\v\f\r1", "a"), "1");
    EXPECT_EQ(value_of("\"a\":\x1f"
                       "1",
                       "a"),
              "\x1f"
              "1");
    EXPECT_EQ(value_of("\"a\":\xc2\xa0", "a"), "\xc2\xa0");
    EXPECT_EQ(json_find_value(std::string_view("\"a\":\0", 5), "a"), 4U);
}

TEST(json_find_value, finds_a_key_at_every_position_of_a_long_text) {
    const std::string value = R"("key":1)";
    for (std::size_t before = 0; before < 400; ++before) {
        for (const std::size_t after : {0U, 1U, 127U, 128U, 129U}) {
            std::string text(before, before % 2 == 0 ? 'k' : '"');
            text += value + std::string(after, '"');
            EXPECT_EQ(json_find_value(text, "key"), before + 6) << before << ' ' << after;
        }
    }
}

TEST(json_find_value, takes_the_first_of_two_keys_within_one_stretch_of_text) {
    for (std::size_t gap = 0; gap < 300; ++gap) {
        const std::string text =
            std::string(60, '.') + R"("key":1,)" + std::string(gap, ',') + R"("key":2)";
        EXPECT_EQ(json_read_int(text, "key", 0), 1) << gap;
    }
}

TEST(find_json_value_span, ends_behind_the_value_of_each_kind) {
    struct {
        std::string_view text;
        std::string_view span;
    } const cases[] = {
        {R"({"k":{"a":{}},"b":1})", R"({"a":{}})"},
        {R"({"k":{"a":"}","b":"\"}"},"c":1})", R"({"a":"}","b":"\"}"})"},
        {R"({"k":{"a":["}"]}})", R"({"a":["}"]})"},
        {R"({"k":{ ] } })", R"({ ] })"},
        {R"({"k":[1,[2],"]"],"b":1})", R"([1,[2],"]"])"},
        {R"({"k":[ } ] })", R"([ } ])"},
        {R"({"k":"a,}","b":1})", R"("a,}")"},
        {R"({"k":"a\"b\\","b":1})", R"("a\"b\\")"},
        {R"({"k":null})", "null"},
        {R"({"k": 12 ,"b":1})", "12 "},
        {R"({"k":,})", ","},
        {R"({"k":}})", "}"},
        {R"({"a":{"k":1},"k":2})", "1"},
    };
    for (const auto& [text, span] : cases)
        EXPECT_EQ(span_of(text, "k"), span) << text;
}

TEST(find_json_value_span, is_false_without_a_value_that_ends_inside_the_text) {
    for (const std::string_view text :
         {"", "{}", R"("k")", R"({"k":)", R"({"k": )", R"({"k":{)", R"({"k":{"a":"}")",
          R"({"k":[1)", R"({"k":["]")", R"({"k":")", R"({"k":"a)", R"({"k":"a\")", R"({"k":null)",
          R"({"k":,)", R"({"k":1])"})
        EXPECT_EQ(span_of(text, "k"), "none") << text;
}
