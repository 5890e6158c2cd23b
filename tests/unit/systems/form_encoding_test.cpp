#include "systems/form_encoding.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

TEST(url_encode_form, keeps_letters_digits_and_four_marks_and_encodes_the_rest) {
    EXPECT_EQ(url_encode_form("AZaz09-._~"), "AZaz09-._~");
    EXPECT_EQ(url_encode_form("a b+c"), "a+b%2Bc");
    EXPECT_EQ(url_encode_form("{\"k\":[1,2]}&=%/\\"), "%7B%22k%22%3A%5B1%2C2%5D%7D%26%3D%25%2F%5C");
    EXPECT_EQ(url_encode_form("\n\r\t"), "%0A%0D%09");
    EXPECT_EQ(url_encode_form("\xc3\xa9\xff"), "%C3%A9%FF");
    EXPECT_EQ(url_encode_form(std::string_view("\0", 1)), "%00");
    EXPECT_EQ(url_encode_form("@[`{/:"), "%40%5B%60%7B%2F%3A");
    EXPECT_EQ(url_encode_form("*'()!"), "%2A%27%28%29%21");
    EXPECT_EQ(url_encode_form(""), "");
}
