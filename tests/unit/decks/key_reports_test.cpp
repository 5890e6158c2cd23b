#include "decks/key_reports.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

using bytes = std::vector<unsigned char>;

constexpr std::uint16_t xl = 0x006C;
constexpr std::uint16_t mk2 = 0x0080;
constexpr std::uint16_t mini = 0x0063;
constexpr std::uint16_t original = 0x0060;

// A deck's keys and what is reported of them, as "3 down".
struct watched_keys {
    explicit watched_keys(std::uint16_t product_id)
        : model(*find_deck_model(product_id)),
          state(static_cast<std::size_t>(model.key_count), false) {}

    std::vector<std::string> apply(const bytes& report) {
        std::vector<std::string> changes;
        apply_key_report(model, report, state, [&](std::int32_t key, bool down) {
            EXPECT_EQ(state[static_cast<std::size_t>(key)], down) << "the bit is set first";
            changes.push_back(std::to_string(key) + (down ? " down" : " up"));
        });
        return changes;
    }

    deck_model model;
    std::vector<bool> state;
};

using changes = std::vector<std::string>;

// A report of this length with these bytes set to 1, behind the id of the key states.
bytes report_with(std::size_t size, const std::set<std::size_t>& set) {
    bytes report(size, 0);
    report[0] = 1;
    for (const std::size_t at : set)
        report[at] = 1;
    return report;
}

} // namespace

TEST(apply_key_report, finds_each_key_at_its_familys_byte) {
    // One digit for each row of five: the Original's bytes run from the right.
    const std::vector<std::size_t> mirrored{5, 4, 3, 2, 1, 10, 9, 8, 7, 6, 15, 14, 13, 12, 11};
    for (const deck_model& model : deck_models()) {
        for (std::size_t key = 0; key < static_cast<std::size_t>(model.key_count); ++key) {
            std::size_t at = 0;
            if (model.family == deck_family::family_jpeg) at = 4 + key;
            if (model.family == deck_family::family_mini) at = 1 + key;
            if (model.family == deck_family::family_original) at = mirrored[key];
            watched_keys keys(model.product_id);
            EXPECT_EQ(keys.apply(report_with(512, {at})), (changes{std::to_string(key) + " down"}))
                << model.name;
            EXPECT_EQ(keys.apply(report_with(512, {})), (changes{std::to_string(key) + " up"}));
        }
    }
}

TEST(apply_key_report, tells_only_of_changes_and_the_lower_key_first) {
    watched_keys keys(original);
    EXPECT_EQ(keys.apply(report_with(16, {1, 5, 11})), (changes{"0 down", "4 down", "14 down"}));
    EXPECT_EQ(keys.apply(report_with(16, {1, 5, 11})), changes{});
    EXPECT_EQ(keys.apply(report_with(16, {5, 10})), (changes{"4 up", "5 down", "14 up"}));
    EXPECT_EQ(keys.apply(report_with(16, {})), (changes{"0 up", "5 up"}));
}

TEST(apply_key_report, takes_every_value_but_zero_for_down) {
    watched_keys keys(mini);
    EXPECT_EQ(keys.apply({1, 0, 1, 2, 0x80, 0xFF, 0}),
              (changes{"1 down", "2 down", "3 down", "4 down"}));
}

TEST(apply_key_report, needs_the_whole_length_of_its_model) {
    struct {
        std::uint16_t product_id;
        std::size_t shortest;
        std::size_t key_at;
    } const cases[] = {
        {xl, 36, 4},
        {mk2, 19, 4},
        {mini, 7, 1},
        {original, 16, 5},
    };
    for (const auto& [product_id, shortest, key_at] : cases) {
        watched_keys keys(product_id);
        EXPECT_EQ(keys.apply(report_with(shortest - 1, {key_at})), changes{}) << product_id;
        EXPECT_EQ(keys.state, std::vector<bool>(keys.state.size())) << product_id;
        EXPECT_EQ(keys.apply(report_with(shortest, {key_at})), (changes{"0 down"})) << product_id;
    }
}

TEST(apply_key_report, ignores_all_reports_but_those_of_key_states) {
    for (const int id : {0, 2, 3, 0x0B, 0xFF}) {
        watched_keys keys(mini);
        EXPECT_EQ(keys.apply({static_cast<unsigned char>(id), 1, 1, 1, 1, 1, 1}), changes{}) << id;
    }
    watched_keys keys(mini);
    EXPECT_EQ(keys.apply({}), changes{});
}

TEST(apply_key_report, ignores_a_jpeg_familys_report_with_a_second_byte) {
    watched_keys keys(xl);
    bytes report = report_with(512, {4, 35});
    report[1] = 3;
    EXPECT_EQ(keys.apply(report), changes{});
    report[1] = 0;
    EXPECT_EQ(keys.apply(report), (changes{"0 down", "31 down"}));
}
