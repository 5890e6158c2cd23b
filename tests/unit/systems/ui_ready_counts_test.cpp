#include "systems/server_polling.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

constexpr std::optional<bool> left_alone;

system_record server(const std::string& serial, bool ready) {
    system_record system;
    system.serial = serial;
    system.online = true;
    system.uiReady = ready;
    return system;
}

} // namespace

TEST(ui_ready_counts, takes_readiness_away_at_the_third_failure_in_a_row) {
    ui_ready_counts counts;
    const system_record ready = server("S", true);
    EXPECT_EQ(counts.after_probe(ready, false), left_alone);
    EXPECT_EQ(counts.after_probe(ready, false), left_alone);
    EXPECT_EQ(counts.after_probe(ready, false), false);
    EXPECT_EQ(counts.after_probe(ready, false), false);
}

TEST(ui_ready_counts, starts_over_after_a_success) {
    ui_ready_counts counts;
    const system_record ready = server("S", true);
    EXPECT_EQ(counts.after_probe(ready, false), left_alone);
    EXPECT_EQ(counts.after_probe(ready, false), left_alone);
    EXPECT_EQ(counts.after_probe(ready, true), true);
    EXPECT_EQ(counts.after_probe(ready, false), left_alone);
    EXPECT_EQ(counts.after_probe(ready, false), left_alone);
    EXPECT_EQ(counts.after_probe(ready, false), false);
}

TEST(ui_ready_counts, starts_over_when_the_server_goes_offline) {
    ui_ready_counts counts;
    const system_record ready = server("S", true);
    counts.after_probe(ready, false);
    counts.after_probe(ready, false);
    counts.reset("S");
    EXPECT_EQ(counts.after_probe(ready, false), left_alone);
    EXPECT_EQ(counts.after_probe(ready, false), left_alone);
    EXPECT_EQ(counts.after_probe(ready, false), false);
}

TEST(ui_ready_counts, makes_a_server_ready_at_the_first_success) {
    ui_ready_counts counts;
    const system_record starting = server("S", false);
    for (int failures = 0; failures < 100; ++failures)
        EXPECT_EQ(counts.after_probe(starting, false), false);
    EXPECT_EQ(counts.after_probe(starting, true), true);
    EXPECT_EQ(counts.after_probe(server("S", true), false), left_alone);
}

TEST(ui_ready_counts, counts_the_failures_of_a_server_that_is_not_ready_too) {
    ui_ready_counts counts;
    for (int failures = 0; failures < 5; ++failures)
        counts.after_probe(server("S", false), false);
    EXPECT_EQ(counts.after_probe(server("S", true), false), false);
}

TEST(ui_ready_counts, counts_for_each_serial_on_its_own) {
    ui_ready_counts counts;
    EXPECT_EQ(counts.after_probe(server("S", true), false), left_alone);
    EXPECT_EQ(counts.after_probe(server("S", true), false), left_alone);
    EXPECT_EQ(counts.after_probe(server("T", true), false), left_alone);
    EXPECT_EQ(counts.after_probe(server("T", true), true), true);
    EXPECT_EQ(counts.after_probe(server("S", true), false), false);
}
