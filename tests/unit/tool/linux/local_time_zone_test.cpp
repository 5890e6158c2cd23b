#include "tool/local_time.hpp"

#include "integration/support/environment.hpp"

#include <gtest/gtest.h>

#include <ctime>
#include <optional>
#include <utility>

using namespace elvantris::operator_control;

namespace {

constexpr std::int64_t minute = 60'000;
constexpr std::int64_t hour = 60 * minute;

// In a zone of its own: an hour ahead of UTC, two in summer, from 8 March to 1 November 2026. Only
// here can a process choose its zone by rules.
class local_time_zone : public testing::Test {
protected:
    local_time_zone() {
        zone_.text->set("AAA-1BBB,M3.2.0,M11.1.0");
        ::tzset();
    }

    static constexpr std::int64_t summer = 1'782'900'000'000; // 10:00 UTC on 1 July

private:
    struct zone_variable {
        ~zone_variable() {
            text.reset();
            ::tzset();
        }
        std::optional<variable> text{std::in_place, "TZ"};
    } zone_;
};

} // namespace

TEST_F(local_time_zone, is_written_with_its_distance_from_utc) {
    EXPECT_EQ(local_moment(summer), "2026-07-01 12:00:00.000+02:00");
    EXPECT_EQ(local_moment(summer + 184 * 24 * hour), "2027-01-01 11:00:00.000+01:00");
}

TEST_F(local_time_zone, spans_both_hours_of_the_night_in_which_summer_time_ends) {
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
    const auto yesterday = read_local_time("12:00", read_local_time("2026-03-08 11:00", 0)->first);
    EXPECT_EQ(local_moment(yesterday->first), "2026-03-07 12:00:00.000+01:00");
}
