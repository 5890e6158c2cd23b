#include "protection/fault_timers.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

const steady_time start{1h};

} // namespace

TEST(fault_timers, confirm_a_condition_at_its_delay_and_not_a_millisecond_before) {
    fault_timers timers;
    EXPECT_FALSE(timers.confirm("k", true, 1000ms, start));
    EXPECT_FALSE(timers.confirm("k", true, 1000ms, start + 999ms));
    EXPECT_TRUE(timers.confirm("k", true, 1000ms, start + 1000ms));
    EXPECT_TRUE(timers.confirm("k", true, 1000ms, start + 5000ms));
}

TEST(fault_timers, confirm_at_once_without_a_delay) {
    fault_timers timers;
    EXPECT_TRUE(timers.confirm("k", true, 0ms, start));
    EXPECT_TRUE(timers.confirm("k", true, 0ms, start));
    EXPECT_FALSE(timers.confirm("other", true, 1ms, start));
}

TEST(fault_timers, end_a_fault_with_one_clean_look_and_start_the_delay_over) {
    fault_timers timers;
    EXPECT_FALSE(timers.confirm("k", true, 1000ms, start));
    EXPECT_TRUE(timers.confirm("k", true, 1000ms, start + 1000ms));
    EXPECT_FALSE(timers.confirm("k", false, 1000ms, start + 1100ms));
    EXPECT_FALSE(timers.confirm("k", true, 1000ms, start + 1200ms));
    EXPECT_FALSE(timers.confirm("k", true, 1000ms, start + 2199ms));
    EXPECT_TRUE(timers.confirm("k", true, 1000ms, start + 2200ms));
}

TEST(fault_timers, count_each_key_for_itself_until_all_are_cleared) {
    fault_timers timers;
    EXPECT_FALSE(timers.confirm("a", true, 1000ms, start));
    EXPECT_FALSE(timers.confirm("b", true, 1000ms, start + 500ms));
    EXPECT_FALSE(timers.confirm("c", false, 1000ms, start + 500ms));
    EXPECT_TRUE(timers.confirm("a", true, 1000ms, start + 1000ms));
    EXPECT_FALSE(timers.confirm("b", true, 1000ms, start + 1000ms));
    timers.clear();
    EXPECT_FALSE(timers.confirm("a", true, 1000ms, start + 1500ms));
    EXPECT_FALSE(timers.confirm("b", true, 1000ms, start + 1500ms));
    EXPECT_TRUE(timers.confirm("a", true, 1000ms, start + 2500ms));
}
