#include "tool/log_facts.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

TEST(growth_of, is_the_size_over_the_days_of_more_than_an_hour) {
    EXPECT_EQ(growth_of(1000, 0, 172'800'000), 500U);
    EXPECT_EQ(growth_of(1000, 0, 3'600'000), 24'000U);
    EXPECT_EQ(growth_of(1000, 0, 3'599'999), std::nullopt);
    EXPECT_EQ(growth_of(1000, 5, 4), std::nullopt);
}

TEST(last_version_in, is_that_of_the_last_whole_start) {
    const std::string start = "Elvantris Redundancy Control ";
    EXPECT_EQ(last_version_in(start + "1.2.3\nOperator view: x\n"), "1.2.3");
    EXPECT_EQ(last_version_in("x\n" + start + "1.2.3\r\ny\n" + start + "1.3.0\nz"), "1.3.0");
    EXPECT_EQ(last_version_in(start + "1.2.3\n" + start + "1.3"), "1.2.3");
    EXPECT_EQ(last_version_in(start + "is running\n"), std::nullopt);
    EXPECT_EQ(last_version_in("no " + start + "1.2.3\n"), std::nullopt);
    EXPECT_EQ(last_version_in(""), std::nullopt);
}
