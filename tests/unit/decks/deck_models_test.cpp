#include "decks/deck_models.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

using enum deck_family;

const std::vector<deck_model>& expected_models() {
    static const std::vector<deck_model> models{
        {0x0060, "Stream Deck Original", family_original, 15, 72, 72, "bmp", 0,
         &splash_15_original},
        {0x006D, "Stream Deck 2019", family_jpeg, 15, 72, 72, "jpeg", 180, &splash_15_jpeg},
        {0x0080, "Stream Deck Mk.2", family_jpeg, 15, 72, 72, "jpeg", 180, &splash_15_jpeg},
        {0x00A5, "Stream Deck Mk.2 Scissor", family_jpeg, 15, 72, 72, "jpeg", 180, &splash_15_jpeg},
        {0x00B9, "Stream Deck 15-Key Module", family_jpeg, 15, 72, 72, "jpeg", 180,
         &splash_15_jpeg},
        {0x006C, "Stream Deck XL", family_jpeg, 32, 96, 96, "jpeg", 180, &splash_32_jpeg},
        {0x008F, "Stream Deck XL 2022", family_jpeg, 32, 96, 96, "jpeg", 180, &splash_32_jpeg},
        {0x00BA, "Stream Deck 32-Key Module", family_jpeg, 32, 96, 96, "jpeg", 180,
         &splash_32_jpeg},
        {0x0063, "Stream Deck Mini", family_mini, 6, 80, 80, "bmp", 90, &splash_6_bmp},
        {0x0090, "Stream Deck Mini 2022", family_mini, 6, 80, 80, "bmp", 90, &splash_6_bmp},
        {0x00B3, "Stream Deck Mini Discord", family_mini, 6, 80, 80, "bmp", 90, &splash_6_bmp},
        {0x00B8, "Stream Deck 6-Key Module", family_mini, 6, 80, 80, "bmp", 90, &splash_6_bmp},
        {0x0084, "Stream Deck +", family_jpeg, 8, 120, 120, "jpeg", 0, &splash_8_jpeg_120},
        {0x009A, "Stream Deck Neo", family_jpeg, 8, 96, 96, "jpeg", 180, &splash_8_jpeg_96},
    };
    return models;
}

void expect_same(const deck_model& model, const deck_model& expected) {
    EXPECT_EQ(model.product_id, expected.product_id);
    EXPECT_EQ(model.name, expected.name);
    EXPECT_EQ(model.family, expected.family);
    EXPECT_EQ(model.key_count, expected.key_count);
    EXPECT_EQ(model.key_width, expected.key_width);
    EXPECT_EQ(model.key_height, expected.key_height);
    EXPECT_EQ(model.image_format, expected.image_format);
    EXPECT_EQ(model.image_rotation, expected.image_rotation);
    EXPECT_EQ(model.splash, expected.splash);
}

} // namespace

TEST(deck_models, are_these_in_this_order) {
    const auto models = deck_models();
    ASSERT_EQ(models.size(), expected_models().size())
        << "write a new model's row here as well: docs/adding.md";
    for (std::size_t i = 0; i < models.size(); ++i) {
        SCOPED_TRACE(expected_models()[i].name);
        expect_same(models[i], expected_models()[i]);
    }
}

TEST(deck_models, number_the_families_as_the_reports_do) {
    EXPECT_EQ(static_cast<int>(family_jpeg), 0);
    EXPECT_EQ(static_cast<int>(family_mini), 1);
    EXPECT_EQ(static_cast<int>(family_original), 2);
}

TEST(find_deck_model, finds_each_by_its_product_id) {
    for (const deck_model& expected : expected_models()) {
        const deck_model* const model = find_deck_model(expected.product_id);
        ASSERT_NE(model, nullptr) << expected.name;
        EXPECT_EQ(model->name, expected.name);
    }
}

TEST(find_deck_model, knows_no_other_product) {
    std::set<std::uint16_t> known;
    for (const deck_model& model : expected_models())
        known.insert(model.product_id);
    for (std::uint32_t id = 0; id <= 0xFFFF; ++id) {
        const auto product_id = static_cast<std::uint16_t>(id);
        ASSERT_EQ(find_deck_model(product_id) != nullptr, known.contains(product_id)) << id;
    }
}
