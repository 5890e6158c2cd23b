#include "tool/alert_log_reader.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

std::string line_at(std::int64_t time) {
    return R"({"time":)" + std::to_string(time) + R"(,"event":"action","message":"m"})";
}

std::vector<std::int64_t> times_of(const alert_log_part& part) {
    std::vector<std::int64_t> times;
    for (const alert_line& line : part.lines)
        times.push_back(line.time);
    return times;
}

using times = std::vector<std::int64_t>;

} // namespace

TEST(alert_lines, are_the_same_wherever_the_pieces_are_cut) {
    const std::string text = line_at(1) + '\n' + line_at(2) + "\r\n\n" + line_at(3);
    for (std::size_t cut = 0; cut <= text.size(); ++cut) {
        alert_lines lines(end_of_time);
        lines.take(std::string_view(text).substr(0, cut));
        lines.take(std::string_view(text).substr(cut));
        const alert_log_part part = lines.finish();
        EXPECT_EQ(times_of(part), (times{1, 2, 3})) << cut;
        EXPECT_EQ(part.damaged, 0U) << cut;
        EXPECT_FALSE(part.begins_later) << cut;
    }
}

TEST(alert_lines, count_the_damaged_ones_and_read_on) {
    alert_lines lines(end_of_time);
    lines.take(line_at(1) + "\n{\"time\":2,\"ev\n" + line_at(3) + "\n\xff\n");
    const alert_log_part part = lines.finish();
    EXPECT_EQ(times_of(part), (times{1, 3}));
    EXPECT_EQ(part.damaged, 2U);
}

TEST(alert_lines, end_with_the_moment_that_was_asked_for) {
    alert_lines lines(2);
    // The program's own spelling, and another one.
    lines.take(line_at(1) + '\n' + line_at(2) + '\n' + line_at(3) + "\n{ \"time\" : 3 , " +
               R"("event":"action","message":"m"})" + '\n');
    const alert_log_part part = lines.finish();
    EXPECT_EQ(times_of(part), (times{1, 2}));
    EXPECT_EQ(part.damaged, 0U);
}

TEST(alert_lines, keep_the_newest_of_too_many) {
    alert_lines lines(end_of_time,
                      {.kept_bytes = 2 * (line_at(1).size() + line_cost), .line_bytes = 1000});
    for (const std::int64_t time : {1, 2, 3, 4})
        lines.take(line_at(time) + '\n');
    const alert_log_part part = lines.finish();
    EXPECT_EQ(times_of(part), (times{3, 4}));
    EXPECT_TRUE(part.begins_later);
}

// A file of nothing but short lines would otherwise cost many times its size.
TEST(alert_lines, keep_no_more_short_lines_than_memory_is_meant_for) {
    alert_lines lines(end_of_time, {.kept_bytes = 10 * (1 + line_cost), .line_bytes = 1000});
    for (int count = 0; count < 100; ++count)
        lines.take("x\n");
    const alert_log_part part = lines.finish();
    EXPECT_EQ(part.damaged, 10U);
    EXPECT_TRUE(part.begins_later);
}

TEST(alert_lines, hold_no_more_of_a_line_than_the_bound) {
    const std::size_t size = line_at(1).size();
    alert_lines exact(end_of_time, {.kept_bytes = 1000, .line_bytes = size});
    exact.take(line_at(1));
    EXPECT_EQ(times_of(exact.finish()), (times{1}));

    alert_lines over(end_of_time, {.kept_bytes = 1000, .line_bytes = size - 1});
    over.take(line_at(1) + "\n{}");
    const alert_log_part part = over.finish();
    EXPECT_TRUE(part.lines.empty());
    EXPECT_EQ(part.damaged, 2U);
}

TEST(alert_lines, drop_a_first_line_that_was_cut) {
    alert_lines lines(end_of_time);
    lines.begin_inside();
    lines.take(line_at(1) + '\n' + line_at(2) + '\n');
    const alert_log_part part = lines.finish();
    EXPECT_EQ(times_of(part), (times{2}));
    EXPECT_EQ(part.damaged, 0U);
    EXPECT_TRUE(part.begins_later);
}
