#include "rehearsal/program_view.hpp"

#include "protection/alert_texts.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace elvantris::rehearsal {
namespace {

using nlohmann::json;

// A pair on Main, both servers well, no alert.
json good_status() {
    return json::parse(R"({
        "enabled": true, "runtimeUiPort": 5270, "activeSerial": "A", "configPath": "/tmp/a.json",
        "policySynchronized": true,
        "systems": [
            {"serial": "A", "role": "Main", "address": "10.0.0.1", "online": true, "uiReady": true,
             "replicationRevision": 7, "replicationAppliedRevision": 6},
            {"serial": "B", "role": "Backup", "address": "10.0.0.1", "online": true,
             "uiReady": true, "replicationAppliedRevision": 7, "replicationPendingMedia": 0}
        ],
        "protection": {
            "armed": true, "heldOnBackup": false, "alerts": [],
            "systems": [
                {"serial": "A", "ageMs": 120, "engineRunning": true, "engineResponsive": true,
                 "frameStalled": false},
                {"serial": "B", "ageMs": 1500, "engineRunning": true, "engineResponsive": true,
                 "frameStalled": false}
            ]
        }
    })");
}

program_view seen_with(const char* pointer, const json& value) {
    json status = good_status();
    status[json::json_pointer(pointer)] = value;
    return read_status(status.dump());
}

TEST(program_view, reads_the_pair_and_who_is_on_air) {
    const program_view view = read_status(good_status().dump());
    EXPECT_TRUE(view.answers);
    EXPECT_TRUE(view.enabled);
    EXPECT_TRUE(view.armed);
    EXPECT_FALSE(view.held_on_backup);
    EXPECT_EQ(view.page_port, 5270);
    EXPECT_TRUE(view.is_active("Main"));
    EXPECT_FALSE(view.is_active("Backup"));
    EXPECT_EQ(view.in_role("Backup")->serial, "B");
    EXPECT_EQ(view.find("C"), nullptr);
    EXPECT_EQ(view.config_path, "/tmp/a.json");
    EXPECT_FALSE(view.uses_show_settings);
}

TEST(program_view, a_server_is_healthy_with_a_fresh_poll_and_an_engine_that_runs_and_answers) {
    EXPECT_TRUE(seen_with("/enabled", true).find("B")->healthy);
    EXPECT_FALSE(seen_with("/protection/systems/1/ageMs", 1501).find("B")->healthy);
    EXPECT_FALSE(seen_with("/protection/systems/1/ageMs", -1).find("B")->healthy);
    EXPECT_FALSE(seen_with("/protection/systems/1/engineRunning", false).find("B")->healthy);
    EXPECT_FALSE(seen_with("/protection/systems/1/engineResponsive", false).find("B")->healthy);
    EXPECT_FALSE(seen_with("/protection/systems/1/frameStalled", true).find("B")->healthy);
}

TEST(program_view, keeps_alerts_that_are_active_and_more_than_a_notice) {
    const auto alert = [](const char* message, const char* severity, bool active) {
        return json{{"message", message}, {"severity", severity}, {"active", active}};
    };
    const program_view view = seen_with("/protection/alerts", {alert("moved", "notice", true),
                                                               alert("lost", "critical", true),
                                                               alert("over", "warning", false)});
    ASSERT_EQ(view.alerts.size(), 1U);
    EXPECT_EQ(view.alerts[0].message, "lost");
}

TEST(program_view, a_pair_is_in_sync_when_backup_has_all_of_mains_revision) {
    EXPECT_TRUE(read_status(good_status().dump()).in_sync);
    EXPECT_FALSE(seen_with("/policySynchronized", false).in_sync);
    EXPECT_FALSE(seen_with("/systems/1/replicationAppliedRevision", 6).in_sync);
    EXPECT_FALSE(seen_with("/systems/1/replicationPendingMedia", 1).in_sync);
    EXPECT_FALSE(seen_with("/systems/1/role", "Independent").in_sync);
    json status = good_status();
    status["systems"][0]["replicationRevision"] = 0;
    status["systems"][1]["replicationAppliedRevision"] = 0;
    EXPECT_FALSE(read_status(status.dump()).in_sync);
}

TEST(program_view, tells_a_move_by_the_operator_from_one_by_the_program) {
    namespace texts = operator_control::alert_texts;
    const auto moved = [](std::string_view reason, const char* server, bool active) {
        const std::string message = std::string(reason).append(texts::operating_on).append(server);
        return seen_with("/protection/alerts",
                         {{{"message", message}, {"severity", "notice"}, {"active", active}}})
            .moved_by_hand;
    };
    EXPECT_TRUE(
        moved(texts::operator_request, "Backup. Return to Main manually when ready.", true));
    EXPECT_FALSE(moved(texts::operator_request, "Backup.", false));
    EXPECT_FALSE(moved(texts::operator_request, "Main.", true));
    EXPECT_FALSE(moved("Main: Engine stopped or exited.", "Backup.", true));
}

TEST(program_view, the_audience_sees_the_pairs_active_server_and_keeps_it_when_there_is_none) {
    const program_view on_main = read_status(good_status().dump());
    EXPECT_EQ(follow_pair("", on_main), "A");
    EXPECT_EQ(follow_pair("B", on_main), "A");
    EXPECT_EQ(follow_pair("B", {}), "B");
    EXPECT_EQ(follow_pair("B", seen_with("/activeSerial", "")), "B");
}

TEST(program_view, before_there_is_a_pair_nobody_is_on_air) {
    EXPECT_EQ(follow_pair("", seen_with("/enabled", false)), "");
    EXPECT_EQ(follow_pair("", seen_with("/systems/0/role", "Independent")), "");
}

TEST(program_view, what_is_no_status_is_no_program) {
    for (const char* text : {"", "not found", "[]", "{}", R"({"protection":7})"})
        EXPECT_FALSE(read_status(text).answers) << text;
    EXPECT_FALSE(seen_with("/systems", "none").answers);
    EXPECT_FALSE(seen_with("/protection/systems", json::array({7})).answers);
}

} // namespace
} // namespace elvantris::rehearsal
