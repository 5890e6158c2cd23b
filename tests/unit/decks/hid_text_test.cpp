#include "decks/hid_text.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

TEST(narrow, keeps_ascii_and_puts_a_question_mark_for_every_other_unit) {
    struct {
        const wchar_t* text;
        std::string narrowed;
    } const cases[] = {
        {nullptr, ""},
        {L"", ""},
        {L"CL12K1A00234", "CL12K1A00234"},
        {L"\x01 \x7F", "\x01 \x7F"},
        {L"\x80", "?"},
        {L"a\u00e9b\u20acc", "a?b?c"},
        {L"\uFFFF", "?"},
        {L"x\U0001F600y", "x??y"}, // two units of 16 bits, however wide a wide character is
    };
    for (const auto& [text, narrowed] : cases)
        EXPECT_EQ(narrow(text), narrowed);
}

TEST(hex_product_id, has_four_lower_case_digits) {
    EXPECT_EQ(hex_product_id(0), "0000");
    EXPECT_EQ(hex_product_id(0x6D), "006d");
    EXPECT_EQ(hex_product_id(0x0ABC), "0abc");
    EXPECT_EQ(hex_product_id(0xFFFF), "ffff");
}
