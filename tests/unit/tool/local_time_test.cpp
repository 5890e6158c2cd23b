#include "tool/local_time.hpp"

#include "integration/support/environment.hpp"

#include <gtest/gtest.h>

#include <ctime>
#include <optional>
#include <utility>

using namespace elvantris::operator_control;

namespace {

// Somewhere in the middle of a day, in whatever zone the test runs.
std::int64_t noon() {
    const auto span = read_local_time("2026-03-10 12:00:00", 0);
    return span ? span->first : 0;
}

// In a zone of its own: an hour ahead of UTC, two in summer, from 8 March to 1 November 2026. Its
// rules are those that a system has which reads no rules.
class local_time_zone : public testing::Test {
protected:
    local_time_zone() {
        zone_.text->set("AAA-1BBB,M3.2.0,M11.1.0");
        ::tzset();
        changes_ = local_moment(summer) == "2026-07-01 12:00:00.000+02:00";
    }

    static constexpr std::int64_t summer = 1'782'900'000'000; // 10:00 UTC on 1 July
    bool changes_ = false;                                    // the system does as it is told

private:
    struct zone_variable {
        ~zone_variable() {
            text.reset();
            ::tzset();
        }
        std::optional<variable> text{std::in_place, "TZ"};
    } zone_;
};

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

TEST_F(local_time_zone, is_written_with_its_distance_from_utc) {
    if (!changes_) GTEST_SKIP() << "this system has zones of its own only";
    EXPECT_EQ(local_moment(summer + 184 * 24 * hour), "2027-01-01 11:00:00.000+01:00");
}

TEST_F(local_time_zone, spans_both_hours_of_the_night_in_which_summer_time_ends) {
    if (!changes_) GTEST_SKIP() << "this system has zones of its own only";
    const auto twice = read_local_time("2026-11-01 01:30", 0);
    ASSERT_TRUE(twice);
    EXPECT_EQ(local_moment(twice->first), "2026-11-01 01:30:00.000+02:00");
    EXPECT_EQ(local_moment(twice->last), "2026-11-01 01:30:59.999+01:00");
    EXPECT_EQ(twice->last - twice->first, hour + minute - 1);
    const auto once = read_local_time("2026-11-01 02:30", 0);
    EXPECT_EQ(once->last - once->first, minute - 1);
    const auto day = read_local_time("2026-11-01", 0);
    EXPECT_EQ(day->last - day->first, 25 * hour - 1);
    EXPECT_TRUE(read_local_time("2026-03-08 02:30", 0)) << "left out in spring";
}

TEST_F(local_time_zone, keeps_the_clock_time_of_yesterday) {
    if (!changes_) GTEST_SKIP() << "this system has zones of its own only";
    const auto yesterday = read_local_time("12:00", read_local_time("2026-03-08 11:00", 0)->first);
    EXPECT_EQ(local_moment(yesterday->first), "2026-03-07 12:00:00.000+01:00");
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
