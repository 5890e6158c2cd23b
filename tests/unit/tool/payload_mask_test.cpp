#include "tool/payload_mask.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

TEST(payload_mask, takes_out_payloads_wherever_they_are) {
    EXPECT_EQ(masked_text(R"({"actions":[{"name":"A","payload":"secret","port":1}],"payload":""})"),
              R"({"actions":[{"name":"A","payload":"masked, 6 bytes","port":1}],)"
              R"("payload":"masked, 0 bytes"})");
    EXPECT_EQ(masked_text(R"([[{"x":{"payload":"secret"}}]])"),
              R"([[{"x":{"payload":"masked, 6 bytes"}}]])");
}

// One flipped bit is enough, and a damaged file is what support asks for.
TEST(payload_mask, takes_out_a_payload_whose_key_is_damaged) {
    EXPECT_EQ(masked_text(R"({"actions":[{"name":"A","pay,oad":"secret","retries":1},7]})"),
              R"({"actions":[{"name":"A","pay,oad":"masked, 6 bytes","retries":1},7]})");
    EXPECT_TRUE(can_name_payload(R"({"actions":[{"pay,oad":"secr)"));
}

TEST(payload_mask, takes_out_what_is_no_text) {
    EXPECT_EQ(masked_text(R"({"payload":["secret",{"a":"secret"}]})"), R"({"payload":"masked"})");
    EXPECT_EQ(masked_text(R"({"payload":{"payload":1}})"), R"({"payload":"masked"})");
}

TEST(payload_mask, knows_the_key_however_it_is_spelled) {
    EXPECT_EQ(masked_text(R"({"p\u0061yload":"secret"})"), R"({"payload":"masked, 6 bytes"})");
}

TEST(payload_mask, leaves_all_else) {
    const std::string text = R"({"name":"payload","Payload":"x","list":["payload","y"],"n":1.5})";
    EXPECT_EQ(masked_text(text), text);
}

TEST(payload_mask, survives_bytes_that_are_no_text) {
    EXPECT_EQ(masked_text("{\"a\":\"\xFF\",\"payload\":\"\xFF\xFE\"}"),
              "{\"a\":\"\xEF\xBF\xBD\",\"payload\":\"masked, 6 bytes\"}");
}

TEST(payload_mask, gives_up_a_text_that_is_not_whole) {
    for (const char* text : {"", R"({"payload":"secret)",
                             R"({"payload":"secret"})"
                             "x",
                             R"("payload":"secret")"})
        EXPECT_EQ(masked_text(text), std::nullopt) << text;
}

TEST(payload_mask, leaves_a_text_without_payloads_byte_for_byte) {
    const std::string text = "{ \"a\" : 1e999,\n\"b\": \"\xFF\" }";
    EXPECT_EQ(masked_text(text), text);
}

TEST(payload_mask, sees_a_payload_behind_a_key_that_comes_again) {
    const auto masked = masked_text(R"({"x":{"payload":"secret"},"x":1})");
    ASSERT_TRUE(masked);
    EXPECT_EQ(masked->find("secret"), std::string::npos);
}

TEST(payload_mask, knows_of_a_damaged_text_whether_it_can_name_one) {
    EXPECT_TRUE(can_name_payload(R"({"payload":"secr)"));
    EXPECT_TRUE(can_name_payload(R"({"p\u0061yload":"secr)"));
    EXPECT_FALSE(can_name_payload(R"({"enabled":tr)"));
}
