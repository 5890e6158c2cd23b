#include "decks/base64.hpp"

#include "unit/decks/slow_base64.hpp"

#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <string_view>

using namespace elvantris::operator_control;

namespace {

constexpr std::string_view alphabet = base64_alphabet;
constexpr std::string_view white = " \t\n\v\f\r";

std::string encode(std::string_view bytes) {
    std::string text;
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - at);
        std::uint32_t bits = 0;
        for (std::size_t i = 0; i < 3; ++i)
            bits = bits * 256 + (i < count ? static_cast<unsigned char>(bytes[at + i]) : 0U);
        for (std::size_t i = 0; i < 4; ++i)
            text += i <= count ? alphabet[(bits >> (18 - 6 * i)) & 63U] : '=';
    }
    return text;
}

std::string random_bytes(std::mt19937& random, std::size_t size) {
    std::string bytes(size, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random() & 255U);
    return bytes;
}

} // namespace

TEST(decode_base64, gives_the_bytes_or_nothing) {
    struct {
        std::string_view text;
        std::optional<std::string> bytes;
    } const cases[] = {
        {"QUJD", "ABC"},
        {"QUI=", "AB"},
        {"QQ==", "A"},
        {"Q Q = =", "A"},
        {"QUJD QQ==", "ABCA"},
        {"QUJDQUI=\r\n", "ABCAB"},
        {"", ""},
        {" \t\n\v\f\r", ""},
        {"////", "\xFF\xFF\xFF"},
        {"++++", "\xFB\xEF\xBE"},
        {"QR==", "A"}, // bits left over are not looked at
        {"QUL=", "AB"},
        {"Q//=", "C\xFF"},
        {"QQ=A", std::nullopt},
        {"Q===", std::nullopt},
        {"====", std::nullopt},
        {"=UJD", std::nullopt},
        {"Q=JD", std::nullopt},
        {"QU=D", std::nullopt},
        {"QQ==QUJD", std::nullopt},
        {"QUI=QUJD", std::nullopt},
        {"QQ====", std::nullopt},
        {"QQ== ====", std::nullopt},
        {"QUJ", std::nullopt},
        {"QU", std::nullopt},
        {"Q", std::nullopt},
        {"=", std::nullopt},
        {"QUJDQ", std::nullopt},
        {"QUJ*", std::nullopt},
        {"QUJD*", std::nullopt},
        {"*", std::nullopt},
        {"QUJ-", std::nullopt}, // the URL-safe variant
        {"QUJ_", std::nullopt},
        {"QQ==*", std::nullopt},
    };
    for (const auto& [text, bytes] : cases)
        EXPECT_EQ(decode_base64(std::string(text)), bytes) << text;
}

TEST(decode_base64, refuses_every_foreign_byte_wherever_it_stands) {
    for (int value = 0; value < 256; ++value) {
        const auto byte = static_cast<char>(value);
        if (byte == '=' || alphabet.find(byte) != std::string_view::npos ||
            white.find(byte) != std::string_view::npos)
            continue;
        for (std::size_t at = 0; at < 12; ++at) {
            std::string text = "QUJDQUJDQUJD";
            text[at] = byte;
            ASSERT_EQ(decode_base64(text), std::nullopt) << value << ' ' << at;
        }
    }
}

TEST(decode_base64, drops_each_kind_of_white_space_wherever_it_stands) {
    for (const char blank : white)
        for (std::size_t at = 0; at <= 12; ++at) {
            std::string text = "QUJDREVGRw==";
            text.insert(at, 3, blank);
            ASSERT_EQ(decode_base64(text), "ABCDEFG") << int{blank} << ' ' << at;
        }
}

TEST(decode_base64, reads_each_letter_in_each_place) {
    for (std::uint32_t value = 0; value < 64; ++value)
        for (std::size_t place = 0; place < 4; ++place) {
            std::string text = "AAAA";
            text[place] = alphabet[value];
            const std::uint32_t bits = value << (18 - 6 * place);
            ASSERT_EQ(decode_base64(text), (std::string{static_cast<char>(bits >> 16U),
                                                        static_cast<char>((bits >> 8U) & 255U),
                                                        static_cast<char>(bits & 255U)}));
        }
}

TEST(decode_base64, gives_back_what_was_encoded) {
    std::mt19937 random(64);
    for (std::size_t size = 0; size < 600; ++size) {
        const std::string bytes = random_bytes(random, size);
        std::string text = encode(bytes);
        ASSERT_EQ(decode_base64(text), bytes) << size;
        for (std::size_t i = 0; i < size / 16; ++i)
            text.insert(random() % (text.size() + 1), 1, white[random() % white.size()]);
        ASSERT_EQ(decode_base64(text), bytes) << size;
    }
}

TEST(decode_base64, reads_a_long_text_with_and_without_lines) {
    std::mt19937 random(48);
    const std::string bytes = random_bytes(random, 1'000'001);
    const std::string text = encode(bytes);
    EXPECT_TRUE(decode_base64(text) == bytes);
    std::string in_lines;
    for (std::size_t at = 0; at < text.size(); at += 76)
        in_lines += text.substr(at, 76) + "\r\n";
    EXPECT_TRUE(decode_base64(in_lines) == bytes);
    EXPECT_EQ(decode_base64(text + "QUJD"), std::nullopt) << "behind the padding";
    EXPECT_EQ(decode_base64(in_lines + "*"), std::nullopt);
}

TEST(decode_base64, does_with_any_text_what_the_rules_say_one_after_another) {
    std::mt19937 random(4648);
    constexpr std::string_view letters = "QUJDz9+/=== \n\v*";
    std::size_t decoded = 0;
    for (int i = 0; i < 200'000; ++i) {
        std::string text(random() % 14, '\0');
        for (char& byte : text)
            byte = letters[random() % (letters.size() - random() % 6)];
        const auto expected = slowly_decoded(text);
        ASSERT_EQ(decode_base64(text), expected) << text;
        if (expected && expected->size() > 3) ++decoded;
    }
    EXPECT_GT(decoded, 1000U) << "too few of the texts are good ones";
}
