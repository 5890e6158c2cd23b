#include "protection/command_escapes.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

constexpr std::string_view trailing = "Trailing backslash in command.";
constexpr std::string_view unsupported = "Supported escapes: \\r, \\n, \\t, \\\\, \\xHH.";
constexpr std::string_view hexadecimal = "Use two hexadecimal digits after \\x.";
constexpr std::string_view size = "Command must contain 1-16384 bytes.";

std::string repeated(std::string_view piece, int times) {
    std::string text;
    for (int i = 0; i < times; ++i)
        text += piece;
    return text;
}

} // namespace

TEST(decode_command_escapes, turns_escapes_into_bytes_and_copies_all_else) {
    struct good_case {
        std::string payload;
        std::string bytes;
    };
    const std::vector<good_case> cases = {
        {"PLAY", "PLAY"},
        {R"(PLAY\r\n)", "PLAY\r\n"},
        {R"(\t)", "\t"},
        {R"(\\)", "\\"},
        {R"(\\n)", "\\n"},
        {R"(\\\n)", "\\\n"},
        {R"(\x41\x42)", "AB"},
        {R"(\x4a\x4A\xfF)", "JJ\xff"},
        {R"(\x414)", "A4"},
        {R"(a\x00b)", std::string("a\0b", 3)},
        {R"(\x00)", std::string(1, '\0')},
        {std::string("a\0b", 3), std::string("a\0b", 3)},
        {"\"/%'\xc3\xa9\xff\r\n", "\"/%'\xc3\xa9\xff\r\n"},
    };
    for (const good_case& each : cases) {
        std::string bytes = "left from before";
        std::string error;
        EXPECT_TRUE(decode_command_escapes(each.payload, bytes, error)) << each.payload;
        EXPECT_EQ(bytes, each.bytes) << each.payload;
        EXPECT_EQ(error, "") << each.payload;
    }
}

TEST(decode_command_escapes, names_the_first_fault) {
    struct bad_case {
        std::string payload;
        std::string_view error;
    };
    const std::vector<bad_case> cases = {
        {"\\", trailing},
        {"abc\\", trailing},
        {R"(\\\)", trailing},
        {R"(\q)", unsupported},
        {R"(\N)", unsupported},
        {R"(\X41)", unsupported},
        {R"(\0)", unsupported},
        {R"(\")", unsupported},
        {R"(\ )", unsupported},
        {R"(\x)", hexadecimal},
        {R"(\x4)", hexadecimal},
        {R"(\xG0)", hexadecimal},
        {R"(\x0G)", hexadecimal},
        {R"(\x4\n)", hexadecimal},
        {R"(\x 4)", hexadecimal},
        {R"(\x-1)", hexadecimal},
        {R"(\q\)", unsupported},
        {R"(\xZZ\q)", hexadecimal},
        {"", size},
    };
    for (const bad_case& each : cases) {
        std::string bytes;
        std::string error;
        EXPECT_FALSE(decode_command_escapes(each.payload, bytes, error)) << each.payload;
        EXPECT_EQ(error, each.error) << each.payload;
    }
}

TEST(decode_command_escapes, limits_the_decoded_bytes_and_not_what_was_typed) {
    struct size_case {
        std::string payload;
        bool fits;
    };
    const std::vector<size_case> cases = {
        {std::string(1, 'a'), true},
        {std::string(16384, 'a'), true},
        {std::string(16385, 'a'), false},
        {repeated(R"(\x41)", 16384), true},
        {repeated(R"(\x41)", 16385), false},
        {std::string(16383, 'a') + R"(\n)", true},
        {std::string(16384, 'a') + R"(\n)", false},
    };
    for (const size_case& each : cases) {
        std::string bytes;
        std::string error;
        EXPECT_EQ(decode_command_escapes(each.payload, bytes, error), each.fits)
            << each.payload.size();
        EXPECT_EQ(error, each.fits ? "" : size) << each.payload.size();
    }
}

TEST(decode_command_escapes, reports_a_fault_behind_too_many_bytes_as_that_fault) {
    std::string bytes;
    std::string error;
    EXPECT_FALSE(decode_command_escapes(std::string(20000, 'a') + "\\", bytes, error));
    EXPECT_EQ(error, trailing);
}
