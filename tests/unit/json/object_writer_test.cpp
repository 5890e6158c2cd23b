#include "json/object_writer.hpp"

#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

using namespace elvantris::operator_control;

TEST(json_object_writer, holds_its_fields_in_the_order_of_the_calls_without_white_space) {
    EXPECT_EQ(json_object_writer()
                  .text("text", "a \"b\"\n")
                  .number("number", -7)
                  .flag("yes", true)
                  .flag("no", false)
                  .json("list", "[1, 2]")
                  .written(),
              R"({"text":"a \"b\"\n","number":-7,"yes":true,"no":false,"list":[1, 2]})");
    EXPECT_EQ(json_object_writer().written(), "{}");
}

TEST(json_object_writer, holds_every_number_of_64_bits) {
    EXPECT_EQ(json_object_writer()
                  .number("n", std::numeric_limits<std::int64_t>::min())
                  .number("x", std::numeric_limits<std::uint64_t>::max())
                  .written(),
              R"({"n":-9223372036854775808,"x":18446744073709551615})");
}

TEST(json_object_writer, goes_on_behind_the_fields_of_a_written_one) {
    EXPECT_EQ(json_object_writer(R"({"a":1})").number("b", 2).written(), R"({"a":1,"b":2})");
    EXPECT_EQ(json_object_writer("{}").number("b", 2).written(), R"({"b":2})");
}

TEST(json_array, separates_its_elements_by_commas) {
    const auto write = [](char digit) { return std::string(1, digit); };
    EXPECT_EQ(json_array(std::vector<char>{}, write), "[]");
    EXPECT_EQ(json_array(std::vector{'1'}, write), "[1]");
    EXPECT_EQ(json_array(std::vector{'1', '2', '3'}, write), "[1,2,3]");
}
