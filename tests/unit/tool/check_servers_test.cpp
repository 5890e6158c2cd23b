#include "tool/check_rules.hpp"

#include "unit/tool/healthy_view.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <limits>

using namespace elvantris::operator_control;

namespace {

using status_change = std::function<void(program_status&)>;
using server_change = std::function<void(shown_server&)>;
using lines = std::vector<std::string>;

// Active alerts are among them, unless another finding says the same.
lines found_after(const status_change& change) {
    check_view view = healthy_view();
    change(*view.program.status);
    lines texts;
    for (const finding& each : check_before_show(view)) {
        EXPECT_FALSE(each.advice.empty()) << each.sentence;
        texts.push_back(each.sentence);
    }
    return texts;
}

shown_server& main_of(program_status& status) {
    return status.protection.servers[0];
}
shown_server& backup_of(program_status& status) {
    return status.protection.servers[1];
}
system_record& backup_record(program_status& status) {
    return status.registry.systems[1];
}

void add_alert(program_status& status, const std::string& message) {
    status.protection.alerts.push_back(active_alert(message));
}

} // namespace

TEST(check_servers, names_what_is_wrong_once_with_its_alerts) {
    struct {
        server_change break_it;
        std::string alert;
        std::string reason;
    } const cases[] = {
        {[](auto& server) { server.age_ms = -1; }, "Server communication lost.",
         "it does not answer"},
        {[](auto& server) { server.age_ms = 1001; }, "Server communication lost.",
         "it does not answer"},
        {[](auto& server) { server.supported = false; },
         "Frame/output telemetry unavailable; update Elvantris and its engine.",
         "it is too old to report its health"},
        {[](auto& server) { server.engine_running = false; }, "Engine stopped or exited.",
         "its engine has stopped"},
        {[](auto& server) { server.engine_responsive = false; }, "Engine is not responding.",
         "its engine does not respond"},
        {[](auto& server) { server.telemetry_available = false; },
         "Frame/output telemetry unavailable; update Elvantris and its engine.",
         "it reports no frames and outputs"},
        {[](auto& server) { server.frame_stalled = true; },
         "Engine channel frame progress stalled.", "one of its channels makes no frames"},
    };
    for (const auto& [break_it, alert, reason] : cases) {
        SCOPED_TRACE(reason);
        EXPECT_EQ(found_after([&](auto& status) {
                      break_it(main_of(status));
                      add_alert(status, "Main: " + alert);
                  }),
                  lines{"Main is not well: " + reason + '.'});
        EXPECT_EQ(found_after([&](auto& status) {
                      break_it(backup_of(status));
                      add_alert(status, "Backup: " + alert);
                      add_alert(status, "Backup is not ready; automatic protection is degraded.");
                  }),
                  lines{"Backup is not ready to take over: " + reason + '.'});
    }
}

TEST(check_servers, take_an_age_of_exactly_the_loss_time_for_fresh) {
    EXPECT_EQ(found_after([](auto& status) { backup_of(status).age_ms = 1000; }), lines{});
    // A number that no clock holds does no harm.
    using limits = std::numeric_limits<std::int64_t>;
    for (const std::int64_t age_ms : {limits::min(), limits::max()})
        EXPECT_EQ(found_after([&](auto& status) { backup_of(status).age_ms = age_ms; }),
                  lines{"Backup is not ready to take over: it does not answer."});
}

TEST(check_servers, miss_a_server_that_was_never_polled) {
    EXPECT_EQ(found_after([](auto& status) { status.protection.servers.pop_back(); }),
              lines{"Backup is not ready to take over: it has not been polled yet."});
}

TEST(check_servers, know_a_lost_clock_by_its_alert) {
    const std::string alert = "Backup: Engaged external clock is unavailable or unlocked.";
    EXPECT_EQ(found_after([&](auto& status) {
                  status.protection.policy.clock = mode_failover;
                  add_alert(status, alert);
              }),
              lines{"Backup is not ready to take over: its external clock is unavailable or "
                    "unlocked."});
    const lines warned = found_after([&](auto& status) { add_alert(status, alert); });
    ASSERT_EQ(warned.size(), 1U);
    EXPECT_TRUE(warned[0].ends_with(alert)) << warned[0];
}

TEST(check_servers, say_so_when_backup_is_not_ready_for_a_hidden_reason) {
    EXPECT_EQ(found_after([](auto& status) {
                  add_alert(status, "Backup is not ready; automatic protection is degraded.");
              }),
              lines{"Backup is not ready to take over, for a reason that the program does not "
                    "show: its engine may still be starting, or its clock may be unlocked."});
}

TEST(check_servers, name_a_protected_output_that_is_gone_or_not_listed) {
    const auto with_rule = [](const std::string& main_id, const std::string& backup_id,
                              fault_mode mode) {
        return found_after([&](auto& status) {
            status.protection.policy.outputRules = {
                {.mainId = main_id, .backupId = backup_id, .mode = mode}};
            add_alert(status, "Backup: Protected output unavailable: " + backup_id);
        });
    };
    EXPECT_EQ(with_rule("out-1", "out-2", mode_failover),
              lines{"Backup is not ready to take over: its protected output out-2 is not there."});
    EXPECT_EQ(with_rule("out-1", "out-9", mode_failover),
              lines{"Backup is not ready to take over: its protected output out-9 is not there."});
    EXPECT_EQ(with_rule("out-1", "out-9", mode_alert),
              lines{"Backup has no output out-9, which a rule under Protected Outputs names."});
    EXPECT_EQ(found_after([](auto& status) {
                  status.protection.policy.outputRules = {
                      {.mainId = "out-9", .backupId = "", .mode = mode_alert},
                      {.mainId = "out-8", .backupId = "out-8", .mode = mode_ignore}};
              }),
              lines{"Main has no output out-9, which a rule under Protected Outputs names."});
}

TEST(check_servers, judge_no_output_of_a_server_that_does_not_answer) {
    EXPECT_EQ(found_after([](auto& status) {
                  status.protection.policy.outputRules = {
                      {.mainId = "out-9", .backupId = "", .mode = mode_alert}};
                  main_of(status).age_ms = 5000;
              }),
              lines{"Main is not well: it does not answer."});
}

// The program forgets what show it had.
TEST(check_servers, tell_no_revision_of_a_silent_server) {
    const auto silent = [](shown_server& (*server)(program_status&)) {
        return found_after([&](program_status& status) {
            server(status).age_ms = -1;
            backup_record(status).replicationAppliedRevision = 0;
            add_alert(status, "Backup show state or media is not synchronized.");
        });
    };
    EXPECT_EQ(silent(main_of), lines{"Main is not well: it does not answer."});
    EXPECT_EQ(silent(backup_of), lines{"Backup is not ready to take over: it does not answer."});
}

TEST(check_servers, want_backup_in_sync_whatever_the_mode) {
    const std::string alert = "Backup show state or media is not synchronized.";
    const status_change behind = [&](program_status& status) {
        backup_record(status).replicationAppliedRevision = 11;
        backup_record(status).replicationPendingMedia = 3;
        backup_record(status).replicationLastError = "disk full";
        add_alert(status, alert);
    };
    for (const fault_mode mode : {mode_ignore, mode_alert})
        EXPECT_EQ(found_after([&](auto& status) {
                      behind(status);
                      status.protection.policy.sync = mode;
                  }),
                  lines{"Backup's show or media is behind Main's: revision 11 of 12, 3 media "
                        "missing, disk full."});
    EXPECT_EQ(found_after([&](auto& status) {
                  behind(status);
                  status.protection.policy.sync = mode_failover;
              }),
              lines{"Backup is not ready to take over: its show or media is behind Main's."});
}

TEST(check_servers, look_at_nothing_without_a_pair) {
    EXPECT_EQ(found_after([](auto& status) {
                  status.registry.systems.pop_back();
                  status.protection.servers.clear();
              }),
              lines{"Main and Backup are not chosen."});
}
