#include "decks/image_reports.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

using namespace elvantris::operator_control;

namespace {

using enum deck_family;
using reports = std::vector<std::string>;

std::string as_bytes(report_bytes report) {
    return {report.begin(), report.end()};
}

// What goes out for an image, and whether all of it did.
struct sent_image {
    reports sent;
    bool whole = false;
};

sent_image send(deck_family family, std::int32_t key, const std::string& image,
                std::size_t failing_report = SIZE_MAX) {
    sent_image result;
    result.whole = send_image_reports(family, key, image, [&](report_bytes report) {
        result.sent.push_back(as_bytes(report));
        return result.sent.size() - 1 != failing_report;
    });
    return result;
}

std::string padded(std::string bytes, std::size_t size) {
    bytes.resize(size, '\0');
    return bytes;
}

// The header's bytes, `part` from `part_at` on, then zeros.
std::string report_of(std::size_t size, const std::vector<std::size_t>& header,
                      std::size_t part_at = 0, std::string_view part = {}) {
    std::string report(size, '\0');
    for (std::size_t i = 0; i < header.size(); ++i)
        report[i] = static_cast<char>(header[i]);
    std::ranges::copy(part, report.begin() + static_cast<std::ptrdiff_t>(part_at));
    return report;
}

std::string little_endian(std::uint32_t value, std::size_t size) {
    std::string bytes;
    for (std::size_t i = 0; i < size; ++i)
        bytes += static_cast<char>((value >> (8 * i)) & 255U);
    return bytes;
}

// Bytes that differ from their neighbours, so that a wrong cut shows.
std::string counting_bytes(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<char>((i * 7 + i / 251) & 255U);
    return bytes;
}

std::string jpeg_report(std::size_t key, bool last, std::size_t number, std::string_view part) {
    return report_of(1024,
                     {0x02, 0x07, key, last ? 1U : 0U, part.size() % 256, part.size() / 256,
                      number % 256, number / 256},
                     8, part);
}

std::string mini_report(std::size_t key, bool last, std::size_t number, std::string_view part) {
    return report_of(1024, {0x02, 0x01, number % 256, 0, last ? 1U : 0U, key + 1}, 16, part);
}

// One blue-green-red triple for each pixel, the top row first.
std::string pixel_at(std::size_t x, std::size_t y) {
    return report_of(3, {x, y, x * 5 + y * 3});
}

struct bmp_form {
    std::uint32_t bits = 24;
    std::int32_t width = 72;
    std::int32_t height = 72; // negative: the top row comes first
    std::uint32_t compression = 0;
    std::uint32_t offset = 54;
};

std::string bmp_of(const bmp_form& form) {
    std::string bytes =
        "BM" + std::string(8, '\0') + little_endian(form.offset, 4) + little_endian(40, 4) +
        little_endian(static_cast<std::uint32_t>(form.width), 4) +
        little_endian(static_cast<std::uint32_t>(form.height), 4) + little_endian(1, 2) +
        little_endian(form.bits, 2) + little_endian(form.compression, 4);
    bytes.resize(form.offset, '\x5A');
    const auto rows = static_cast<std::size_t>(std::abs(form.height));
    for (std::size_t row = 0; row < rows; ++row)
        for (std::size_t x = 0; x < static_cast<std::size_t>(form.width); ++x) {
            bytes += pixel_at(x, form.height < 0 ? row : rows - 1 - row);
            if (form.bits == 32) bytes += '\x77';
        }
    return bytes;
}

std::string original_header() {
    return "BM" + little_endian(15'606, 4) + little_endian(0, 4) + little_endian(54, 4) +
           little_endian(40, 4) + little_endian(72, 4) + little_endian(72, 4) +
           little_endian(1, 2) + little_endian(24, 2) + little_endian(0, 4) +
           little_endian(15'552, 4) + little_endian(3780, 4) + little_endian(3780, 4) +
           little_endian(0, 4) + little_endian(0, 4);
}

// The picture of `bmp_of` as the Original wants it.
std::string converted_picture() {
    std::string bytes = original_header();
    for (std::size_t y = 0; y < 72; ++y)
        for (std::size_t x = 72; x-- > 0;)
            bytes += pixel_at(x, y);
    return bytes;
}

} // namespace

TEST(is_image_for, looks_at_the_ends_of_a_jpeg_and_the_beginning_of_a_bmp) {
    const std::string bmp = padded("BM", 54);
    struct {
        deck_family family;
        std::string image;
        bool accepted;
    } const cases[] = {
        {family_jpeg, "\xFF\xD8\xFF\xD9", true},
        {family_jpeg, "\xFF\xD8 between \xFF\xD9", true},
        {family_jpeg, "\xFF\xD8\xD9", false},
        {family_jpeg, "\xFF\xD8\xFF\xD8", false},
        {family_jpeg, "\xFF\xD8\xFF\xD9\n", false},
        {family_jpeg, "\xFF\xD9\xFF\xD9", false},
        {family_jpeg, "\xFE\xD8\xFF\xD9", false},
        {family_jpeg, "", false},
        {family_jpeg, bmp, false},
        {family_mini, bmp, true},
        {family_mini, padded("BM", 53), false},
        {family_mini, padded("MB", 54), false},
        {family_mini, "BM", false},
        {family_mini, "", false},
        {family_mini, "\xFF\xD8" + std::string(60, 'x') + "\xFF\xD9", false},
        {family_original, bmp, true},
        {family_original, padded("BM", 53), false},
        {family_original, padded("Bm", 54), false},
    };
    for (const auto& [family, image, accepted] : cases)
        EXPECT_EQ(is_image_for(family, image), accepted)
            << static_cast<int>(family) << ' ' << image.size() << ' ' << image;
}

TEST(send_image_reports, cuts_a_jpeg_into_parts_of_1016_bytes) {
    for (const std::size_t key : {0U, 7U, 31U})
        for (const std::size_t size : {0U, 1U, 4U, 1015U, 1016U, 1017U, 2032U, 2033U, 300'000U}) {
            const std::string image = counting_bytes(size);
            reports expected;
            std::size_t at = 0;
            do {
                const std::string_view part = std::string_view(image).substr(at, 1016);
                at += part.size();
                expected.push_back(jpeg_report(key, at == size, expected.size(), part));
            } while (at < size);
            const sent_image result = send(family_jpeg, static_cast<std::int32_t>(key), image);
            EXPECT_TRUE(result.whole) << size;
            EXPECT_TRUE(result.sent == expected) << size;
        }
}

TEST(send_image_reports, writes_length_and_number_of_a_jpegs_second_report) {
    const sent_image result = send(family_jpeg, 3, std::string(1017, 'x'));
    ASSERT_EQ(result.sent.size(), 2U);
    EXPECT_EQ(result.sent[0].substr(0, 9), std::string("\x02\x07\x03\x00\xF8\x03\x00\x00x", 9));
    EXPECT_EQ(result.sent[1].substr(0, 10),
              std::string("\x02\x07\x03\x01\x01\x00\x01\x00x\x00", 10));
}

TEST(send_image_reports, cuts_a_minis_image_into_parts_of_1008_bytes) {
    for (const std::size_t key : {0U, 5U})
        for (const std::size_t size : {1U, 1007U, 1008U, 1009U, 2016U, 19'254U, 300'000U}) {
            const std::string image = counting_bytes(size);
            reports expected;
            for (std::size_t at = 0; at < size; at += 1008)
                expected.push_back(
                    mini_report(key, at + 1008 >= size, expected.size(), image.substr(at, 1008)));
            const sent_image result = send(family_mini, static_cast<std::int32_t>(key), image);
            EXPECT_TRUE(result.whole) << size;
            EXPECT_TRUE(result.sent == expected) << size;
        }
    EXPECT_EQ(send(family_mini, 0, black_image(family_mini)).sent.size(), 20U);
}

TEST(send_image_reports, sends_the_originals_image_in_two_halves_with_its_mirrored_key_number) {
    const std::vector<std::size_t> numbers{5, 4, 3, 2, 1, 10, 9, 8, 7, 6, 15, 14, 13, 12, 11};
    const std::string picture = converted_picture();
    for (std::int32_t key = 0; key < 15; ++key) {
        const std::size_t number = numbers[static_cast<std::size_t>(key)];
        const std::string_view image = picture;
        const reports expected{
            report_of(8191, {0x02, 0x01, 1, 0, 0, number}, 16, image.substr(0, 7803)),
            report_of(8191, {0x02, 0x01, 2, 0, 1, number}, 16, image.substr(7803))};
        const sent_image result = send(family_original, key, bmp_of({}));
        EXPECT_TRUE(result.whole) << key;
        EXPECT_TRUE(result.sent == expected) << key;
    }
}

TEST(send_image_reports, sends_nothing_of_an_image_that_the_original_cant_show) {
    const sent_image result = send(family_original, 0, bmp_of({.width = 70, .height = 70}));
    EXPECT_FALSE(result.whole);
    EXPECT_TRUE(result.sent.empty());
}

TEST(send_image_reports, stops_at_the_first_report_that_fails) {
    struct {
        deck_family family;
        std::string image;
        std::size_t count;
    } const cases[] = {
        {family_jpeg, std::string(3000, 'x'), 3},
        {family_mini, std::string(3000, 'x'), 3},
        {family_original, bmp_of({}), 2},
    };
    for (const auto& [family, image, count] : cases)
        for (std::size_t failing = 0; failing < count; ++failing) {
            const sent_image result = send(family, 0, image, failing);
            EXPECT_FALSE(result.whole);
            EXPECT_EQ(result.sent.size(), failing + 1) << static_cast<int>(family);
        }
}

TEST(convert_for_original, mirrors_the_rows_and_begins_at_the_top) {
    const std::string expected = converted_picture();
    ASSERT_EQ(expected.size(), 15'606U);
    const bmp_form forms[] = {
        {},
        {.height = -72},
        {.bits = 32},
        {.bits = 32, .height = -72},
        {.offset = 138},
        {.bits = 32, .height = -72, .offset = 70},
    };
    for (const bmp_form& form : forms) {
        EXPECT_TRUE(convert_for_original(bmp_of(form)) == expected)
            << form.bits << ' ' << form.height << ' ' << form.offset;
        EXPECT_TRUE(convert_for_original(bmp_of(form) + "behind the pixels") == expected);
    }
}

TEST(convert_for_original, takes_the_pixels_from_the_offset_even_if_it_lies_in_the_header) {
    std::string bmp = bmp_of({.height = -72});
    bmp[10] = 0;
    const auto converted = convert_for_original(bmp);
    ASSERT_TRUE(converted);
    EXPECT_EQ(converted->substr(54 + 71 * 3, 3), bmp.substr(0, 3));
}

TEST(convert_for_original, refuses_every_other_form) {
    const bmp_form forms[] = {
        {.width = 70, .height = 70},
        {.width = 71},
        {.width = 73},
        {.height = 71},
        {.height = 73},
        {.height = -71},
        {.height = -73},
        {.width = -72},
        {.bits = 16},
        {.bits = 8},
        {.bits = 0},
        {.bits = 25},
        {.compression = 1},
        {.compression = 3},
        {.compression = 0x0100'0000U},
        {.width = 72 + 0x10000},
    };
    for (bmp_form form : forms) {
        bmp_form drawn;
        drawn.bits = 32;
        std::string bmp = bmp_of(drawn) + std::string(72 * 5, '\0');
        bmp.replace(18, 4, little_endian(static_cast<std::uint32_t>(form.width), 4));
        bmp.replace(22, 4, little_endian(static_cast<std::uint32_t>(form.height), 4));
        bmp.replace(28, 2, little_endian(form.bits, 2));
        bmp.replace(30, 4, little_endian(form.compression, 4));
        ASSERT_TRUE(is_image_for(family_original, bmp));
        EXPECT_FALSE(convert_for_original(bmp))
            << form.width << ' ' << form.height << ' ' << form.bits << ' ' << form.compression;
    }
}

TEST(convert_for_original, refuses_what_is_too_short_for_its_own_pixels) {
    for (const std::uint32_t bits : {24U, 32U})
        for (const std::uint32_t offset : {54U, 138U}) {
            const std::string bmp = bmp_of({.bits = bits, .offset = offset});
            EXPECT_TRUE(convert_for_original(bmp)) << bits;
            EXPECT_FALSE(convert_for_original(bmp.substr(0, bmp.size() - 1))) << bits;
        }
    for (const std::uint32_t offset : {55U, 0x7FFF'FFFFU, 0x8000'0000U, 0xFFFF'FFFFU}) {
        std::string bmp = bmp_of({});
        bmp.replace(10, 4, little_endian(offset, 4));
        EXPECT_FALSE(convert_for_original(bmp)) << offset;
    }
    EXPECT_FALSE(convert_for_original(""));
    EXPECT_FALSE(convert_for_original(bmp_of({}).substr(0, 53)));
    EXPECT_FALSE(convert_for_original(bmp_of({}).substr(0, 54)));
}

TEST(black_image, is_a_bmp_of_zeros_in_the_familys_size) {
    EXPECT_TRUE(black_image(family_original) == original_header() + std::string(15'552, '\0'));
    EXPECT_TRUE(black_image(family_mini) ==
                "BM" + little_endian(19'254, 4) + little_endian(0, 4) + little_endian(54, 4) +
                    little_endian(40, 4) + little_endian(80, 4) + little_endian(80, 4) +
                    little_endian(1, 2) + little_endian(24, 2) + little_endian(0, 4) +
                    little_endian(19'200, 4) + std::string(16, '\0') + std::string(19'200, '\0'));
}

TEST(black_image, is_the_same_object_for_every_thread) {
    std::vector<const std::string*> images(8);
    std::vector<std::thread> threads;
    for (const std::string*& image : images)
        threads.emplace_back([&image] { image = &black_image(family_mini); });
    for (std::thread& thread : threads)
        thread.join();
    for (const std::string* const image : images)
        EXPECT_EQ(image, &black_image(family_mini));
}

TEST(clear_key_report, names_the_key) {
    for (const std::size_t key : {0U, 7U, 31U})
        EXPECT_EQ(as_bytes(clear_key_report(static_cast<std::int32_t>(key))),
                  report_of(32, {0x03, 0x06, key}));
}

TEST(reset_report, is_each_familys_own) {
    EXPECT_EQ(as_bytes(reset_report(family_jpeg)), padded("\x03\x02", 32));
    EXPECT_EQ(as_bytes(reset_report(family_mini)), padded("\x0B\x63", 32));
    EXPECT_EQ(as_bytes(reset_report(family_original)), padded("\x0B\x63", 17));
}
