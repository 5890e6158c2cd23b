#include "tool/program_metrics.hpp"

#include "unit/tool/healthy_view.hpp"

#include <gtest/gtest.h>

#include <functional>

using namespace elvantris::operator_control;

namespace {

// The lines of samples, of a healthy pair with this change.
std::string figures(const std::function<void(program_status&)>& change = {}) {
    program_status status = *healthy_view().program.status;
    if (change) change(status);
    return '\n' + write_metrics(metrics_of(status, 2, "1.2.3"));
}

testing::AssertionResult has(const std::string& text, const std::string& line) {
    if (text.find('\n' + line + '\n') != std::string::npos) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "no line " << line << " in" << text;
}

bool names(const std::string& text, const std::string& name) {
    return text.find('\n' + name) != std::string::npos;
}

alert_record transfer(std::uint64_t id, std::int64_t started) {
    alert_record notice = active_alert("moved", alert_severity::notice);
    notice.id = id;
    notice.started = started;
    return notice;
}

std::uint64_t count_after(transfer_counter& counter, std::deque<alert_record> alerts) {
    protection_snapshot protection;
    protection.alerts = std::move(alerts);
    counter.see(protection);
    return counter.count();
}

} // namespace

TEST(program_metrics, tell_of_a_missing_program_only_that_it_is_missing) {
    EXPECT_EQ(write_metrics(metrics_of(std::nullopt, 2, "1.2.3")),
              "# HELP elvantris_up Whether the program runs and gives its status.\n"
              "# TYPE elvantris_up gauge\n"
              "elvantris_up 0\n");
}

TEST(program_metrics, tell_how_the_pair_is) {
    const std::string well = figures();
    for (const char* line :
         {"elvantris_up 1", "elvantris_exporter_info{version=\"1.2.3\"} 1",
          "elvantris_pair_enabled 1", "elvantris_failover_armed 1", "elvantris_held_on_backup 0",
          "elvantris_commands_running 0", "elvantris_pairing_synchronized 1",
          "elvantris_active_side{side=\"main\"} 1", "elvantris_active_side{side=\"backup\"} 0",
          "elvantris_active_side{side=\"independent\"} 0", "elvantris_active_side{side=\"none\"} 0",
          "elvantris_decks 1", "elvantris_transfers_total 2"})
        EXPECT_TRUE(has(well, line));
    const std::string changed = figures([](program_status& status) {
        status.registry.enabled = status.registry.policySynchronized = false;
        status.protection.policy.armed = false;
        status.protection.held_on_backup = status.protection.actions_busy = true;
        status.active = "backup";
        status.decks.clear();
    });
    for (const char* line :
         {"elvantris_pair_enabled 0", "elvantris_failover_armed 0", "elvantris_held_on_backup 1",
          "elvantris_commands_running 1", "elvantris_pairing_synchronized 0",
          "elvantris_active_side{side=\"main\"} 0", "elvantris_active_side{side=\"backup\"} 1",
          "elvantris_decks 0"})
        EXPECT_TRUE(has(changed, line));
}

TEST(program_metrics, tell_how_each_server_of_the_pair_is) {
    const std::string text = figures([](program_status& status) {
        status.registry.systems[1].online = true;
        status.protection.servers[0] = {.serial = "SER-A",
                                        .age_ms = 4250,
                                        .supported = true,
                                        .engine_running = false,
                                        .engine_responsive = false,
                                        .telemetry_available = false,
                                        .frame_stalled = true,
                                        .outputs = {}};
    });
    const std::string main = "{side=\"main\",serial=\"SER-A\"} ";
    const std::string backup = "{side=\"backup\",serial=\"SER-B\"} ";
    const std::vector<std::tuple<std::string, std::string, std::string>> expected{
        {"online", "0", "1"},           {"answered", "1", "1"},
        {"health_supported", "1", "1"}, {"answer_age_seconds", "4.25", "0.12"},
        {"engine_running", "0", "1"},   {"engine_responsive", "0", "1"},
        {"frames_stalled", "1", "0"},   {"telemetry_available", "0", "1"}};
    for (const auto& [name, of_main, of_backup] : expected) {
        EXPECT_TRUE(has(text, "elvantris_server_" + name + main + of_main));
        EXPECT_TRUE(has(text, "elvantris_server_" + name + backup + of_backup));
    }
    EXPECT_TRUE(has(text, "elvantris_server_info{side=\"main\",serial=\"SER-A\",workstation=\"\","
                          "address=\"10.77.0.11\"} 1"));
}

TEST(program_metrics, give_no_health_of_a_server_that_has_never_answered) {
    for (const bool polled : {true, false}) {
        const std::string text = figures([&](program_status& status) {
            if (polled)
                status.protection.servers[0].age_ms = status.protection.servers[1].age_ms = -1;
            else
                status.protection.servers.clear();
        });
        EXPECT_TRUE(has(text, "elvantris_server_answered{side=\"main\",serial=\"SER-A\"} 0"));
        EXPECT_FALSE(names(text, "elvantris_server_answer_age_seconds"));
        EXPECT_FALSE(names(text, "elvantris_server_engine_running"));
    }
}

TEST(program_metrics, leave_out_servers_that_are_not_of_the_pair) {
    const std::string text = figures([](program_status& status) {
        for (system_record& system : status.registry.systems)
            system.role = system_role::independent;
    });
    EXPECT_FALSE(names(text, "elvantris_server_"));
    EXPECT_TRUE(has(text, "elvantris_up 1"));
}

TEST(program_metrics, count_active_alerts_by_severity) {
    const std::string text = figures([](program_status& status) {
        alert_record over = active_alert("over");
        over.active = false;
        status.protection.alerts = {active_alert("a"), active_alert("b"), over,
                                    active_alert("c", alert_severity::warning)};
    });
    EXPECT_TRUE(has(text, "elvantris_active_alerts{severity=\"critical\"} 2"));
    EXPECT_TRUE(has(text, "elvantris_active_alerts{severity=\"warning\"} 1"));
    EXPECT_TRUE(has(text, "elvantris_active_alerts{severity=\"notice\"} 0"));
}

TEST(program_metrics, date_the_newest_transfer) {
    EXPECT_FALSE(names(figures(), "elvantris_last_transfer_timestamp_seconds"));
    const std::string text = figures([](program_status& status) {
        status.protection.alerts = {transfer(1, 1'500), transfer(2, 2'500), active_alert("a")};
    });
    EXPECT_TRUE(has(text, "elvantris_last_transfer_timestamp_seconds 2.5"));
}

TEST(transfer_counter, counts_each_transfer_once) {
    transfer_counter counter;
    EXPECT_EQ(count_after(counter, {active_alert("fault")}), 0U);
    EXPECT_EQ(count_after(counter, {transfer(1, 10), transfer(2, 20)}), 2U);
    EXPECT_EQ(count_after(counter, {transfer(1, 10), transfer(2, 20)}), 2U);
    EXPECT_EQ(count_after(counter, {transfer(2, 20), transfer(3, 30)}), 3U);
}

TEST(transfer_counter, goes_on_when_the_program_begins_anew) {
    transfer_counter counter;
    EXPECT_EQ(count_after(counter, {transfer(1, 10)}), 1U);
    EXPECT_EQ(count_after(counter, {}), 1U);
    EXPECT_EQ(count_after(counter, {transfer(1, 90)}), 2U);
}
