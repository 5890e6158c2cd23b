#include "decks/deck_models.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string_view>

using namespace elvantris::operator_control;

namespace {

struct set_form {
    const char* name;
    splash_set tiles;
    std::size_t count;
    std::size_t side; // pixels
    std::set<std::size_t> logo_keys;
};

const std::set<std::size_t> logo_of_15{2, 6, 7, 8, 11, 12, 13};
const std::set<std::size_t> logo_of_8{1, 2, 4, 5, 6, 7};

std::vector<set_form> jpeg_sets() {
    return {{"splash_15_jpeg", splash_15_jpeg, 15, 72, logo_of_15},
            {"splash_32_jpeg",
             splash_32_jpeg,
             32,
             96,
             {3, 4, 10, 11, 12, 13, 18, 19, 20, 21, 25, 26, 27, 28, 29, 30}},
            {"splash_8_jpeg_120", splash_8_jpeg_120, 8, 120, logo_of_8},
            {"splash_8_jpeg_96", splash_8_jpeg_96, 8, 96, logo_of_8}};
}

std::vector<set_form> bmp_sets() {
    return {{"splash_6_bmp", splash_6_bmp, 6, 80, {1, 3, 4, 5}},
            {"splash_15_original", splash_15_original, 15, 72, logo_of_15}};
}

std::string_view bytes_of(const splash_tile& tile) {
    return {reinterpret_cast<const char*>(tile.data), tile.size};
}

std::size_t number_at(std::string_view bytes, std::size_t at, std::size_t size) {
    std::size_t value = 0;
    for (std::size_t i = size; i-- > 0;)
        value = value * 256 + static_cast<unsigned char>(bytes[at + i]);
    return value;
}

// By marker the contents of the segments before the picture's own data.
std::multimap<char, std::string_view> jpeg_segments(std::string_view jpeg) {
    std::multimap<char, std::string_view> segments;
    for (std::size_t at = 2; at + 4 <= jpeg.size() && jpeg[at] == '\xFF';) {
        const std::size_t size = static_cast<unsigned char>(jpeg[at + 2]) * 256U +
                                 static_cast<unsigned char>(jpeg[at + 3]);
        segments.emplace(jpeg[at + 1], jpeg.substr(at + 4, size - 2));
        if (jpeg[at + 1] == '\xDA') break;
        at += 2 + size;
    }
    return segments;
}

// Width and height as the image itself has them.
std::pair<std::size_t, std::size_t> size_of(std::string_view image) {
    if (image.starts_with("BM")) return {number_at(image, 18, 4), number_at(image, 22, 4)};
    const std::string_view frame = jpeg_segments(image).find('\xC0')->second;
    const auto big_endian = [&](std::size_t at) {
        return static_cast<unsigned char>(frame.at(at)) * std::size_t{256} +
               static_cast<unsigned char>(frame.at(at + 1));
    };
    return {big_endian(3), big_endian(1)};
}

} // namespace

TEST(splash_sets, are_baseline_jfif_of_their_size_in_colour_with_halved_chroma) {
    for (const set_form& set : jpeg_sets()) {
        ASSERT_EQ(set.tiles.size(), set.count) << set.name;
        for (std::size_t key = 0; key < set.count; ++key) {
            SCOPED_TRACE(std::string(set.name) + ' ' + std::to_string(key));
            const std::string_view tile = bytes_of(set.tiles[key]);
            EXPECT_TRUE(tile.starts_with("\xFF\xD8"));
            EXPECT_TRUE(tile.ends_with("\xFF\xD9"));
            EXPECT_LT(tile.size(), 16U * 1024);
            EXPECT_EQ(tile.substr(2, 2), "\xFF\xE0");
            const auto segments = jpeg_segments(tile);
            ASSERT_EQ(segments.count('\xE0'), 1U);
            EXPECT_TRUE(segments.find('\xE0')->second.starts_with(std::string_view("JFIF\0", 5)));
            // Beside it tables, the baseline frame and the scan: nothing else is told.
            for (const auto& [marker, content] : segments)
                EXPECT_NE(std::string_view("\xE0\xDB\xC4\xC0\xDA").find(marker),
                          std::string_view::npos);
            const auto side = static_cast<char>(set.side);
            const std::string frame{8, 0, side, 0, side, 3, 1, 0x22, 0, 2, 0x11, 1, 3, 0x11, 1};
            ASSERT_EQ(segments.count('\xC0'), 1U);
            EXPECT_EQ(segments.find('\xC0')->second, frame);
        }
    }
}

TEST(splash_sets, are_bottom_up_bmps_of_24_bits_and_their_size) {
    for (const set_form& set : bmp_sets()) {
        ASSERT_EQ(set.tiles.size(), set.count) << set.name;
        for (std::size_t key = 0; key < set.count; ++key) {
            SCOPED_TRACE(std::string(set.name) + ' ' + std::to_string(key));
            const std::string_view tile = bytes_of(set.tiles[key]);
            const std::size_t size = 54 + set.side * set.side * 3;
            ASSERT_EQ(tile.size(), size);
            EXPECT_TRUE(tile.starts_with("BM"));
            EXPECT_EQ(number_at(tile, 2, 4), size);
            EXPECT_EQ(number_at(tile, 10, 4), 54U);
            EXPECT_EQ(number_at(tile, 14, 4), 40U);
            EXPECT_EQ(number_at(tile, 18, 4), set.side);
            EXPECT_EQ(number_at(tile, 22, 4), set.side) << "positive, so the rows run upwards";
            EXPECT_EQ(number_at(tile, 26, 2), 1U);
            EXPECT_EQ(number_at(tile, 28, 2), 24U);
            EXPECT_EQ(number_at(tile, 30, 4), 0U);
            EXPECT_EQ(number_at(tile, 34, 4), size - 54);
        }
    }
}

TEST(splash_sets, carry_the_logo_on_its_keys_and_plain_black_on_all_others) {
    for (const set_form& set : bmp_sets()) {
        for (std::size_t key = 0; key < set.count; ++key) {
            const std::string_view pixels = bytes_of(set.tiles[key]).substr(54);
            EXPECT_EQ(pixels.find_first_not_of('\0') != std::string_view::npos,
                      set.logo_keys.contains(key))
                << set.name << ' ' << key;
        }
    }
    // The key in the corner is black in every set, and so is each tile with the same bytes.
    for (const set_form& set : jpeg_sets())
        for (std::size_t key = 0; key < set.count; ++key)
            EXPECT_EQ(bytes_of(set.tiles[key]) != bytes_of(set.tiles[0]),
                      set.logo_keys.contains(key))
                << set.name << ' ' << key;
}

TEST(splash_sets, of_each_model_have_a_tile_for_each_key_in_the_keys_size_and_format) {
    for (const deck_model& model : deck_models()) {
        SCOPED_TRACE(model.name);
        ASSERT_NE(model.splash, nullptr);
        ASSERT_EQ(model.splash->size(), static_cast<std::size_t>(model.key_count))
            << "name a set that was cut for this grid, or cut one: docs/adding.md";
        const std::string_view tile = bytes_of(model.splash->front());
        EXPECT_EQ(tile.starts_with("BM"), model.image_format == "bmp");
        EXPECT_EQ(size_of(tile), std::pair(static_cast<std::size_t>(model.key_width),
                                           static_cast<std::size_t>(model.key_height)));
    }
}

TEST(splash_sets, of_the_original_family_are_its_own) {
    for (const deck_model& model : deck_models())
        EXPECT_EQ(model.family == deck_family::family_original, model.splash == &splash_15_original)
            << model.name;
}
