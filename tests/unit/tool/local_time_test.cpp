#include "tool/local_time.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

// Somewhere in the middle of a day, in whatever zone the test runs.
std::int64_t noon() {
    const auto span = read_local_time("2026-03-10 12:00:00", 0);
    return span ? span->first : 0;
}

constexpr std::int64_t minute = 60'000;
constexpr std::int64_t hour = 60 * minute;

} // namespace

TEST(local_time, is_read_as_it_is_written) {
    const std::int64_t time = noon() + 129;
    EXPECT_EQ(local_date(time), "2026-03-10");
    EXPECT_EQ(local_clock(time), "12:00:00");
    EXPECT_EQ(local_moment(time).substr(0, 23), "2026-03-10 12:00:00.129");
    EXPECT_EQ(local_moment(noon() - 1).substr(0, 23), "2026-03-10 11:59:59.999");
}

TEST(read_local_time, covers_what_the_text_leaves_open) {
    struct {
        const char* text;
        std::int64_t first;
        std::int64_t length;
    } const cases[] = {
        {"2026-03-10", noon() - 12 * hour, 24 * hour},
        {"2026-03-10 12:00", noon(), minute},
        {"2026-03-10T12:00", noon(), minute},
        {"2026-03-10 12:00:00", noon(), 1000},
        {"2026-03-10T12:00:00", noon(), 1000},
        {"12:00", noon(), minute},
        {"12:00:00", noon(), 1000},
    };
    for (const auto& [text, first, length] : cases) {
        const auto span = read_local_time(text, noon());
        ASSERT_TRUE(span) << text;
        EXPECT_EQ(span->first, first) << text;
        EXPECT_EQ(span->last, first + length - 1) << text;
    }
}

TEST(read_local_time, takes_a_clock_time_for_the_last_one_that_has_been) {
    EXPECT_EQ(read_local_time("11:59", noon())->first, noon() - minute);
    EXPECT_EQ(read_local_time("12:01", noon())->first, noon() + minute - 24 * hour);
}

TEST(read_local_time, refuses_what_is_no_time) {
    for (const char* text : {"", "now", "25:00", "12", "12:", ":12", "2026-03", "2026-03-10 12",
                             "12:60", "2026-13-01", "2026-02-30", "2026-02-29", "2026-04-31 12:00",
                             "2026-03-10 ", "12:00x", "2026-03-10 12:00:00.5", "-1:00"})
        EXPECT_FALSE(read_local_time(text, noon())) << text;
}

TEST(duration_text, has_at_most_two_units) {
    EXPECT_EQ(duration_text(0), "0 ms");
    EXPECT_EQ(duration_text(999), "999 ms");
    EXPECT_EQ(duration_text(1000), "1 s");
    EXPECT_EQ(duration_text(59'999), "59 s");
    EXPECT_EQ(duration_text(60'000), "1 min");
    EXPECT_EQ(duration_text(127'000), "2 min 7 s");
    EXPECT_EQ(duration_text(hour + 3 * minute), "1 h 3 min");
    EXPECT_EQ(duration_text(51 * hour), "2 d 3 h");
}
