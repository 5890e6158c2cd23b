#include "tool/asked_times.hpp"

#include <gtest/gtest.h>

#include <limits>

using namespace elvantris::operator_control;

namespace {

std::int64_t moment(const char* text) {
    const auto span = read_local_time(text, 0);
    return span ? span->first : 0;
}

const std::int64_t nine_in_the_evening = moment("2026-03-10 21:00");

time_span read(const std::string& since, const std::string& until) {
    const auto asked = read_asked_times(since, until, nine_in_the_evening);
    const auto* const span = std::get_if<time_span>(&asked);
    return span == nullptr ? time_span{} : *span;
}

std::string refusal(const std::string& since, const std::string& until) {
    const auto asked = read_asked_times(since, until, nine_in_the_evening);
    const auto* const sentence = std::get_if<std::string>(&asked);
    return sentence == nullptr ? "" : *sentence;
}

} // namespace

TEST(read_asked_times, sets_no_bound_without_a_text) {
    EXPECT_EQ(read("", "").first, std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(read("", "").last, std::numeric_limits<std::int64_t>::max());
}

TEST(read_asked_times, takes_the_first_clock_time_behind_the_beginning) {
    EXPECT_EQ(read("19:30", "22:00").first, moment("2026-03-10 19:30"));
    EXPECT_EQ(read("19:30", "22:00").last, moment("2026-03-10 22:01") - 1) << "still to come";
    EXPECT_EQ(read("19:30", "19:30").last, moment("2026-03-10 19:31") - 1);
    EXPECT_EQ(read("19:30", "02:00").last, moment("2026-03-11 02:01") - 1);
    EXPECT_EQ(read("2026-03-01", "22:00:00").last, moment("2026-03-01 22:00:01") - 1);
    EXPECT_EQ(read("", "22:00").last, moment("2026-03-09 22:01") - 1) << "the last that has been";
}

TEST(read_asked_times, refuses_what_is_no_time_and_an_end_before_the_beginning) {
    EXPECT_EQ(refusal("yesterday", "22:00").substr(0, 23), "\"yesterday\" is no time.");
    EXPECT_EQ(refusal("22:00", "x").substr(0, 15), "\"x\" is no time.");
    EXPECT_EQ(refusal("2026-03-10", "2026-03-09"),
              "--until 2026-03-09 is before --since 2026-03-10.");
    EXPECT_EQ(refusal("2026-03-10", "2026-03-10"), "");
}
