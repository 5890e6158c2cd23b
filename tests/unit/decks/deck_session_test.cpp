#include "decks/deck_session.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

deck_view view_of(const std::string& serial, std::int32_t page = 1) {
    deck_view view;
    view.serial = serial;
    view.page = page;
    return view;
}

deck_info attached_deck(const std::string& serial) {
    deck_info deck;
    deck.serial = serial;
    return deck;
}

server_deck_session full_session() {
    server_deck_session session;
    for (int i = 0; i < 64; ++i)
        keep_view(session, view_of("absent " + std::to_string(i)), {});
    return session;
}

} // namespace

TEST(deck_session, keeps_a_view_without_its_images_and_gives_them_back) {
    server_deck_session session;
    deck_view view = view_of("A", 3);
    view.use_splash = true;
    view.keys = {{.index = 5, .image = "image"}, {.index = 2, .image = ""}};
    view.scripts[7].emplace_back().action = "page";
    const std::vector<deck_key_image> keys = keep_view(session, view, {attached_deck("A")});
    ASSERT_EQ(keys.size(), 2U);
    EXPECT_EQ(keys[0].index, 5);
    EXPECT_EQ(keys[0].image, "image");
    EXPECT_EQ(keys[1].index, 2);
    const deck_view& kept = session.decks.at("A");
    EXPECT_EQ(kept.serial, "A");
    EXPECT_EQ(kept.page, 3);
    EXPECT_TRUE(kept.use_splash);
    ASSERT_EQ(kept.keys.size(), 2U);
    EXPECT_EQ(kept.keys[0].index, 5);
    EXPECT_EQ(kept.keys[0].image, "");
    EXPECT_EQ(kept.keys[0].image.capacity(), std::string().capacity());
    EXPECT_EQ(kept.scripts.at(7).at(0).action, "page");
}

TEST(deck_session, keeps_no_scripts_of_a_deck_that_is_not_attached) {
    server_deck_session session;
    deck_view view = view_of("A", 3);
    view.scripts[7].emplace_back().action = "page";
    keep_view(session, view, {attached_deck("B")});
    EXPECT_EQ(session.decks.at("A").page, 3);
    EXPECT_TRUE(session.decks.at("A").scripts.empty());
}

TEST(deck_session, keeps_64_decks_that_are_not_attached_and_goes_on_to_hear_of_those) {
    server_deck_session session = full_session();
    EXPECT_EQ(session.decks.size(), 64U);
    EXPECT_EQ(keep_view(session, view_of("one more"), {}).size(), 0U);
    EXPECT_FALSE(session.decks.contains("one more"));
    keep_view(session, view_of("absent 63", 9), {});
    EXPECT_EQ(session.decks.at("absent 63").page, 9);
    EXPECT_EQ(session.decks.size(), 64U);
}

TEST(deck_session, always_has_room_for_a_deck_that_is_attached) {
    server_deck_session session = full_session();
    const std::string long_serial(5'000, 's');
    keep_view(session, view_of("here", 4), {attached_deck("here")});
    keep_view(session, view_of(long_serial, 5),
              {attached_deck("here"), attached_deck(long_serial)});
    EXPECT_EQ(session.decks.at("here").page, 4);
    EXPECT_EQ(session.decks.at(long_serial).page, 5);
    keep_view(session, view_of("here", 6), {});
    EXPECT_EQ(session.decks.at("here").page, 6) << "also after it has gone";
    EXPECT_EQ(session.decks.size(), 66U) << "nobody was pushed out";
}

TEST(deck_session, keeps_no_serial_of_an_absent_deck_above_4096_bytes) {
    server_deck_session session;
    keep_view(session, view_of(std::string(4'096, 's')), {});
    keep_view(session, view_of(std::string(4'097, 's')), {});
    EXPECT_EQ(session.decks.size(), 1U);
}
