#include "systems/server_polling.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

system_record server(const std::string& serial, bool ready) {
    system_record system;
    system.serial = serial;
    system.online = true;
    system.uiReady = ready;
    return system;
}

// What each probe of a ready server ('+' has succeeded) makes of its readiness: taken away, given,
// or '.' for left alone.
std::string readiness_after(ui_ready_counts& counts, std::string_view probes,
                            const system_record& system = server("S", true)) {
    std::string outcome;
    for (const char probe : probes) {
        const std::optional<bool> ready = counts.after_probe(system, probe == '+');
        outcome += !ready ? '.' : *ready ? '+' : '-';
    }
    return outcome;
}

} // namespace

TEST(ui_ready_counts, takes_readiness_away_at_the_third_failure_in_a_row) {
    ui_ready_counts counts;
    EXPECT_EQ(readiness_after(counts, "----"), "..--");
}

TEST(ui_ready_counts, starts_over_after_a_success) {
    ui_ready_counts counts;
    EXPECT_EQ(readiness_after(counts, "--+---"), "..+..-");
}

TEST(ui_ready_counts, starts_over_when_the_server_goes_offline) {
    ui_ready_counts counts;
    readiness_after(counts, "--");
    counts.reset("S");
    EXPECT_EQ(readiness_after(counts, "---"), "..-");
}

TEST(ui_ready_counts, makes_a_server_ready_at_the_first_success) {
    ui_ready_counts counts;
    const std::string failures(100, '-');
    EXPECT_EQ(readiness_after(counts, failures + "+", server("S", false)), failures + "+");
    EXPECT_EQ(readiness_after(counts, "-"), ".");
}

TEST(ui_ready_counts, counts_the_failures_of_a_server_that_is_not_ready_too) {
    ui_ready_counts counts;
    readiness_after(counts, "-----", server("S", false));
    EXPECT_EQ(readiness_after(counts, "-"), "-");
}

TEST(ui_ready_counts, counts_for_each_serial_on_its_own) {
    ui_ready_counts counts;
    EXPECT_EQ(readiness_after(counts, "--"), "..");
    EXPECT_EQ(readiness_after(counts, "-+", server("T", true)), ".+");
    EXPECT_EQ(readiness_after(counts, "-"), "-");
}
