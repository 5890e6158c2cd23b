#include "json/field_scanner.hpp"

#include <gtest/gtest.h>

#include <limits>

using namespace elvantris::operator_control;

namespace {

using texts = std::vector<std::string>;
using numbers = std::set<std::int32_t>;

std::string holding(std::string_view value) {
    return R"({"a":)" + std::string(value) + "}";
}

} // namespace

TEST(json_read_array_text, runs_to_the_bracket_that_closes_the_first) {
    struct {
        std::string_view value;
        std::string_view array;
    } const cases[] = {
        {"[]", "[]"},
        {" [1, 2] ", "[1, 2]"},
        {"[[1],[2]],[3]", "[[1],[2]]"},
        {R"(["]","[","\"]"],1)", R"(["]","[","\"]"])"},
        {R"(["\\"],"]")", R"(["\\"])"},
        {R"([{"b":1}})", ""},
        {"[{]", "[{]"},
        {"[}{]", "[}{]"},
        {R"([\"]"])", R"([\"]"])"},
    };
    for (const auto& [value, array] : cases)
        EXPECT_EQ(json_read_array_text(holding(value), "a"), array) << value;
}

TEST(json_read_array_text, is_empty_without_an_array_that_ends) {
    for (const std::string_view value :
         {"1", R"("[1]")", "{\"b\":[1]}", "[", "[1", "[[1]", R"(["])", R"(["\"])", R"(["]")"})
        EXPECT_EQ(json_read_array_text(holding(value), "a"), "") << value;
}

TEST(json_read_object_list, gives_each_object_as_raw_text_and_skips_other_elements) {
    struct {
        std::string_view value;
        texts objects;
    } const cases[] = {
        {R"([{"x":"}"},{"y":1},3])", {R"({"x":"}"})", R"({"y":1})"}},
        {"[]", {}},
        {"[1,\"{}\",null,[],true]", {}},
        {"[ {} , {} ]", {"{}", "{}"}},
        {"[{}{}]", {"{}", "{}"}},
        {R"([{"n":{"m":{}}},{}])", {R"({"n":{"m":{}}})", "{}"}},
        {R"([{"q":"\"{"},{}])", {R"({"q":"\"{"})", "{}"}},
        {R"([[{"deep":1}]])", {R"({"deep":1})"}},
        {R"([{"l":[{"m":1}]}])", {R"({"l":[{"m":1}]})"}},
        {R"([{"x":1},{"open":1])", {R"({"x":1})"}},
        {R"({"b":[{}]})", {}},
    };
    for (const auto& [value, objects] : cases)
        EXPECT_EQ(json_read_object_list(holding(value), "a"), objects) << value;
}

TEST(json_read_object_list, loses_the_objects_behind_a_stray_closing_brace_and_keeps_those_before) {
    EXPECT_EQ(json_read_object_list(R"({"a":[{"x":1},},{"y":2},{"z":3}]})", "a"),
              (texts{R"({"x":1})"}));
    EXPECT_EQ(json_read_object_list(R"({"a":[},{"y":2}]})", "a"), texts{});
}

TEST(json_read_object_list, takes_what_is_nested_behind_a_stray_closing_brace_for_an_element) {
    EXPECT_EQ(json_read_object_list(R"({"a":[{"x":1},},{"a":{"b":1}}]})", "a"),
              (texts{R"({"x":1})", R"({"b":1})"}));
}

TEST(json_read_object_list, keeps_each_key_search_inside_its_element) {
    const texts objects = json_read_object_list(R"({"a":[{"x":1},{"y":2}]})", "a");
    ASSERT_EQ(objects.size(), 2U);
    EXPECT_EQ(json_read_int(objects[0], "y", 0), 0);
    EXPECT_EQ(json_read_int(objects[1], "y", 0), 2);
}

TEST(json_split_object_list, points_into_the_array_text) {
    const std::string array = R"([{"x":1},2,{"y":2}])";
    const std::vector<std::string_view> objects = json_split_object_list(array);
    ASSERT_EQ(objects.size(), 2U);
    EXPECT_EQ(objects[0].data(), array.data() + 1);
    EXPECT_EQ(objects[1], R"({"y":2})");
    EXPECT_TRUE(json_split_object_list("").empty());
}

TEST(json_read_int_set, takes_every_run_of_digits_once_and_in_order) {
    constexpr std::int32_t highest = std::numeric_limits<std::int32_t>::max();
    constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();
    struct {
        std::string_view value;
        numbers ids;
    } const cases[] = {
        {R"([1,2,2,-3,"7"])", {-3, 1, 2, 7}},
        {"[]", {}},
        {"[1.5]", {1, 5}},
        {"[3 2 1]", {1, 2, 3}},
        {"[1-2]", {-2, 1}},
        {"[+4]", {4}},
        {R"([{"id":5},[6]])", {5, 6}},
        {"[99999999999,-99999999999]", {lowest, highest}},
        {R"(["x","y"])", {}},
        {"7", {}},
        {"[1,2", {}},
    };
    for (const auto& [value, ids] : cases)
        EXPECT_EQ(json_read_int_set(holding(value), "a"), ids) << value;
}

TEST(json_read_int_set, stops_at_a_minus_without_a_digit_and_keeps_what_it_has) {
    EXPECT_EQ(json_read_int_set(holding("[1,-,2]"), "a"), (numbers{1}));
    EXPECT_EQ(json_read_int_set(holding("[--5,6]"), "a"), numbers{});
    EXPECT_EQ(json_read_int_set(holding("[4,-]"), "a"), (numbers{4}));
}
