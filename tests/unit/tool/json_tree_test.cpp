#include "tool/json_tree.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

TEST(read_json_tree, reads_what_is_strict_as_it_is) {
    EXPECT_EQ(read_json_tree(R"({"b":[1.5,-2],"a":"\ud83d\ude00 \"x\\"})").dump(),
              "{\"b\":[1.5,-2],\"a\":\"\xF0\x9F\x98\x80 \\\"x\\\\\"}");
    EXPECT_EQ(read_json_tree("18446744073709551616").dump(), "1.8446744073709552e+19");
}

TEST(read_json_tree, replaces_what_a_strict_reader_refuses) {
    EXPECT_EQ(read_json_tree("[\"a\xff\", \"\xc3\"]").dump(),
              "[\"a\xEF\xBF\xBD\",\"\xEF\xBF\xBD\"]");
    EXPECT_EQ(read_json_tree(R"(["\ud800","\udc00x","\ud800\ud800\udc00"])").dump(),
              "[\"\xEF\xBF\xBD\",\"\xEF\xBF\xBDx\",\"\xEF\xBF\xBD\xF0\x90\x80\x80\"]");
    EXPECT_EQ(read_json_tree(R"([1e999,-1e999,"1e999",2])").dump(), R"([null,null,"1e999",2])");
}

TEST(read_json_tree, refuses_what_is_no_json) {
    for (const char* text : {"", "x", "{", "[1", "\"\xff", "\"\\", "\"\\u", "\"\\ud800", "[1 2]",
                             "\"\n\"", "{\"a\":1e999", "-", "\"\\x\""})
        EXPECT_TRUE(read_json_tree(text).is_discarded()) << text;
    const std::string deep = std::string(5000, '[') + std::string(5000, ']');
    EXPECT_TRUE(read_json_tree(deep).is_discarded());
}
