#include "tool/program_status.hpp"

#include "unit/tool/healthy_view.hpp"

#include <gtest/gtest.h>

#include <limits>

using namespace elvantris::operator_control;

namespace {

constexpr const char* whole_status = R"({
    "enabled": true, "controllerConfigured": true, "policySynchronized": false,
    "policySyncMessage": "Waiting.", "active": "main", "configPath": "C:\\x.json",
    "systems": [{"serial": "SER-A", "address": "10.77.0.11", "webPort": 5000, "role": "Main",
        "replicationRevision": 12},
        {"serial": "SER-B", "role": "Backup", "backupForSerial": "SER-A",
        "replicationAppliedRevision": 11, "replicationPendingMedia": 2,
        "replicationLastError": "x"}, 7],
    "streamDecks": [{"serial": "XL-1", "name": "Stream Deck XL"}, "no deck"],
    "protection": {"policy": {"armed": false, "lossMs": 777,
        "outputRules": [{"mainId": "a", "backupId": "b", "mode": 2}]},
        "heldOnBackup": true, "actionsBusy": true, "lastAction": "sent",
        "systems": [{"serial": "SER-A", "ageMs": 120, "supported": true, "engineRunning": true,
            "outputs": [{"id": "out-1", "available": true, "known": true}]}, {"serial": "SER-B"}],
        "alerts": [{"id": 3, "message": "m", "severity": "notice", "started": 5, "active": true},
            {"severity": "critical"}, {"severity": "warning"}]}})";

} // namespace

TEST(read_status, takes_what_the_tool_looks_at) {
    const auto status = read_status(whole_status);
    ASSERT_TRUE(status);
    EXPECT_TRUE(status->registry.enabled);
    EXPECT_FALSE(status->registry.policySynchronized);
    EXPECT_EQ(status->registry.policySyncMessage, "Waiting.");
    ASSERT_EQ(status->registry.systems.size(), 2U);
    EXPECT_EQ(status->registry.systems[0].role, system_role::main);
    EXPECT_EQ(status->registry.systems[0].replicationRevision, 12);
    EXPECT_EQ(status->registry.systems[1].backupForSerial, "SER-A");
    EXPECT_EQ(status->registry.systems[1].replicationPendingMedia, 2);
    EXPECT_EQ(status->decks, (std::vector<seen_deck>{{"XL-1", "Stream Deck XL"}}));
    EXPECT_EQ(status->config_path, "C:\\x.json");
    const protection_snapshot& protection = status->protection;
    EXPECT_FALSE(protection.policy.armed);
    EXPECT_EQ(protection.policy.lossMs, 777U);
    EXPECT_EQ(protection.policy.outputRules.at(0).backupId, "b");
    EXPECT_TRUE(protection.held_on_backup);
    EXPECT_EQ(protection.servers.at(0).age_ms, 120);
    EXPECT_EQ(protection.servers.at(0).outputs,
              R"([{"id":"out-1","available":true,"known":true}])");
    EXPECT_EQ(protection.servers.at(1).age_ms, -1);
    EXPECT_EQ(protection.alerts.at(0).severity, alert_severity::notice);
    EXPECT_EQ(protection.alerts.at(1).severity, alert_severity::critical);
    EXPECT_EQ(protection.alerts.at(2).severity, alert_severity::warning);
}

TEST(read_status, refuses_what_is_not_from_the_program) {
    for (const char* text :
         {"", "<!doctype html>", "[]", "{}", "7", R"({"status":"ok"})", R"({"protection":{}})",
          R"({"protection":[]})", R"({"protection":{"policy":7}})",
          R"({"protection":{"policy":{"armed":true}})"})
        EXPECT_FALSE(read_status(text)) << text;
    EXPECT_FALSE(read_status(std::string(5000, '[') + std::string(5000, ']')));
}

TEST(read_status, has_defaults_for_values_of_another_type) {
    const auto status =
        read_status(R"({"enabled":"yes","systems":{},"streamDecks":7,"configPath":1,"active":null,)"
                    R"("protection":{"policy":{"armed":true},"systems":[[]],"alerts":"none"}})");
    ASSERT_TRUE(status);
    EXPECT_FALSE(status->registry.enabled);
    EXPECT_TRUE(status->registry.systems.empty());
    EXPECT_TRUE(status->decks.empty());
    EXPECT_EQ(status->config_path, "");
    EXPECT_TRUE(status->protection.servers.empty());
}

TEST(read_status, reads_what_servers_and_operators_can_write) {
    const auto status = read_status(
        R"({"configPath":"x","protection":{"policy":{"armed":true},"heldOnBackup":false,)"
        R"("systems":[{"serial":"S)"
        "\xff"
        R"(","outputs":[{"id":"\ud800","available":true,"known":true,"rate":1e999}]}]}})");
    ASSERT_TRUE(status);
    EXPECT_EQ(status->protection.servers.at(0).serial, "S\xEF\xBF\xBD");
    EXPECT_EQ(status->protection.servers.at(0).outputs,
              "[{\"id\":\"\xEF\xBF\xBD\",\"available\":true,\"known\":true,\"rate\":null}]");
}

TEST(judge_answer, knows_the_program_by_a_status_that_it_cannot_read) {
    EXPECT_EQ(judge_answer(whole_status).presence, program_presence::running);
    EXPECT_EQ(judge_answer(R"({"configPath":"x","protection":{"actions":[{"event":"a"b"}],)"
                           R"("heldOnBackup":true}})")
                  .presence,
              program_presence::unreadable_status);
    for (const char* other : {"", "<!doctype html>", R"({"status":"ok"})", R"({"configPath":"x"})"})
        EXPECT_EQ(judge_answer(other).presence, program_presence::another_program) << other;
}

TEST(read_status, takes_a_number_that_is_too_large_for_the_largest) {
    const auto status = read_status(
        R"({"systems":[{"webPort":65536,"replicationPendingMedia":4294967296,)"
        R"("replicationRevision":18446744073709551615}],)"
        R"("protection":{"policy":{"armed":true},"systems":[{"ageMs":-9223372036854775808}]}})");
    ASSERT_TRUE(status);
    const system_record& system = status->registry.systems.at(0);
    EXPECT_EQ(system.webPort, 65'535);
    EXPECT_EQ(system.replicationPendingMedia, 2'147'483'647);
    EXPECT_EQ(system.replicationRevision, 9'223'372'036'854'775'807);
    EXPECT_EQ(status->protection.servers.at(0).age_ms, std::numeric_limits<std::int64_t>::min());
}

TEST(judge_answer, never_takes_the_program_for_another_whatever_a_server_says) {
    const std::string deep(1024, '[');
    for (const std::string& said :
         {std::string("\xff\x00\"", 3), std::string(R"(["\ud800",1e999])"), std::string("\"}]}"),
          deep + std::string(1024, ']')}) {
        protection_snapshot snapshot;
        snapshot.last_action = said;
        snapshot.servers = {healthy_server(said)};
        snapshot.servers[0].outputs = said;
        const std::string status =
            R"({"configPath":"x","protection":)" + write_status(snapshot) + '}';
        EXPECT_NE(judge_answer(status).presence, program_presence::another_program) << said;
    }
}
