#include "tool/check_memory.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

TEST(check_memory, brings_back_what_was_written) {
    const std::vector<seen_deck> decks{{"XL-1", "Stream Deck XL"}, {"\"\xc3\xbc", ""}};
    EXPECT_EQ(read_check_memory(write_check_memory(decks)), decks);
    EXPECT_TRUE(read_check_memory(write_check_memory({})).empty());
}

TEST(check_memory, takes_anything_else_for_no_deck) {
    for (const char* text : {"", "{", "[]", "7", R"({"decks":7})", R"({"decks":[7,"x"]})"})
        EXPECT_TRUE(read_check_memory(text).empty()) << text;
}

TEST(check_memory, is_beside_the_configuration_file) {
    EXPECT_EQ(check_memory_path("folder/x.json"), "folder/x.json.check.json");
}
