#include "os/network_interfaces.hpp"

#include <gtest/gtest.h>

#include <algorithm>

using namespace elvantris::operator_control;

TEST(list_interface_addresses, holds_the_loopback_interface) {
    const auto addresses = list_interface_addresses();
    ASSERT_TRUE(addresses);
    const auto loopback = std::ranges::find(*addresses, 0x7F000001U, &interface_address::address);
    ASSERT_NE(loopback, addresses->end());
    EXPECT_TRUE(loopback->loopback);
    EXPECT_TRUE(loopback->up);
    EXPECT_EQ(loopback->prefix_length, 8U);
}

TEST(list_interface_addresses, has_a_name_and_a_sensible_prefix_for_every_address) {
    const auto addresses = list_interface_addresses();
    ASSERT_TRUE(addresses);
    for (const interface_address& each : *addresses) {
        EXPECT_LE(each.prefix_length, 32U);
        EXPECT_FALSE(each.name.empty());
    }
}
