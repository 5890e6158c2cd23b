#include "app/pass_events.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {
const steady_time now{1h};
} // namespace

TEST(pass_events, are_due_at_once_and_then_50_ms_after_their_end) {
    pass_events events;
    EXPECT_TRUE(events.due(now));
    events.ran(now, now + 7ms);
    EXPECT_FALSE(events.due(now + 56ms));
    EXPECT_TRUE(events.due(now + 57ms));
}

TEST(pass_events, make_a_pass_stale_for_good_once_a_menu_was_open_for_more_than_500_ms) {
    pass_events events;
    EXPECT_FALSE(events.stale());
    events.ran(now, now + 500ms);
    EXPECT_FALSE(events.stale());
    events.ran(now + 1s, now + 1501ms);
    EXPECT_TRUE(events.stale());
    events.ran(now + 2s, now + 2s);
    EXPECT_TRUE(events.stale());
}
