#include "platform/icon_tries.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {
const steady_time now{1h};
} // namespace

TEST(icon_tries, are_not_made_before_an_icon_is_wanted_nor_for_one_that_is_shown) {
    icon_tries tries;
    EXPECT_FALSE(tries.due(now));
    tries.tried(true, now);
    EXPECT_FALSE(tries.due(now + 1h));
}

TEST(icon_tries, come_a_second_after_the_end_of_the_last_one_until_the_icon_is_shown) {
    icon_tries tries;
    for (const steady_time ended : {now, now + 4s}) {
        tries.tried(false, ended);
        EXPECT_FALSE(tries.due(ended + 999ms));
        EXPECT_TRUE(tries.due(ended + 1s));
    }
    tries.tried(true, now + 5s);
    EXPECT_FALSE(tries.due(now + 1h));
}

TEST(icon_tries, begin_anew_with_a_new_taskbar) {
    icon_tries tries;
    tries.tried(true, now);
    tries.tried(false, now + 1h);
    EXPECT_TRUE(tries.due(now + 1h + 1s));
}

TEST(icon_tries, end_with_the_icons_removal) {
    icon_tries tries;
    tries.tried(false, now);
    tries.removed();
    EXPECT_FALSE(tries.due(now + 1h));
}
