#include "decks/deck_bus.hpp"

#include "integration/support/hid_stand_in.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

TEST(list_decks_on_bus, has_known_and_unknown_decks_and_opens_none) {
    hid_stand_in bus;
    bus.plug({.path = "/a", .product_id = 0x006C, .serial = L"XL-1"});
    bus.plug({.path = "/b", .product_id = 0xABCD, .serial = std::nullopt, .product = L"New"});
    const auto decks = list_decks_on_bus();
    ASSERT_TRUE(decks);
    ASSERT_EQ(decks->size(), 2U);
    EXPECT_EQ(decks->at(0).serial, "XL-1");
    EXPECT_EQ(decks->at(0).name, "Stream Deck XL");
    EXPECT_EQ(decks->at(0).model, find_deck_model(0x006C));
    EXPECT_EQ(decks->at(1).serial, "");
    EXPECT_EQ(decks->at(1).name, "New");
    EXPECT_EQ(decks->at(1).model, nullptr);
    EXPECT_EQ(bus.calls(), (std::vector<std::string>{"init", "exit"}));
    EXPECT_TRUE(bus.misuse().empty());
}

TEST(list_decks_on_bus, is_absent_without_hidapi_and_empty_without_decks) {
    hid_stand_in bus;
    EXPECT_TRUE(list_decks_on_bus()->empty());
    bus.fail_init(true);
    EXPECT_EQ(list_decks_on_bus().has_value(), false);
    EXPECT_TRUE(bus.misuse().empty());
}
