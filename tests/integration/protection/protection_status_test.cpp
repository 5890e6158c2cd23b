#include "watched_pair.hpp"

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

class protection_status : public watched_pair {
protected:
    std::string status() const { return write_status(shown()); }
};

std::string system_of(const std::string& status, const std::string& serial) {
    for (const std::string& system : json_read_object_list(status, "systems"))
        if (json_read_string(system, "serial") == serial) return system;
    return {};
}

} // namespace

TEST_F(protection_status, writes_its_keys_in_their_fixed_order) {
    EXPECT_EQ(status(), R"({"policy":)" + write_policy(protection_policy{}) +
                            R"(,"armed":true,"heldOnBackup":false,"actionsBusy":false,)"
                            R"("lastAction":"","systems":[],"alerts":[]})");
}

TEST_F(protection_status, shows_every_server_ever_polled_by_serial) {
    server_health health = healthy_server();
    health.engineStarting = health.clockFault = health.resourcePressure = true;
    health.outputs = R"([{"id":"o\"1","name":"Left"}])";
    hear("M1", health);
    hear("B1", std::nullopt);
    now.steady += 1234567us;
    const std::string text = status();
    EXPECT_NE(
        text.find(
            R"("systems":[{"serial":"B1","ageMs":-1,"supported":false,"engineRunning":false,)"
            R"("engineResponsive":false,"telemetryAvailable":false,"frameStalled":false,)"
            R"("outputs":[]},{"serial":"M1","ageMs":1234,"supported":true,"engineRunning":true,)"
            R"("engineResponsive":true,"telemetryAvailable":true,"frameStalled":false,)"
            R"("outputs":[{"id":"o\"1","name":"Left"}]}],"alerts":[]})"),
        std::string::npos)
        << text;
}

TEST_F(protection_status, shows_outputs_as_they_came_and_none_where_they_are_no_json) {
    for (const std::string outputs : {R"([ {"id":"a", "available":true} ])", "[]", "[1,[2]]"}) {
        server_health health = healthy_server();
        health.outputs = outputs;
        hear("M1", health);
        EXPECT_NE(system_of(status(), "M1").find(R"("outputs":)" + outputs + '}'),
                  std::string::npos)
            << outputs;
    }
    for (const std::string outputs : {R"([{"id":"a"])", "[}]", "[1,]", "[\"\x01\"]"}) {
        server_health health = healthy_server();
        health.outputs = outputs;
        hear("M1", health);
        EXPECT_NE(status().find(R"("outputs":[]})"), std::string::npos) << outputs;
    }
}

TEST_F(protection_status, keeps_the_last_flags_of_a_server_that_fell_silent) {
    hear("M1", healthy_server());
    now.steady += 3s;
    hear("M1", std::nullopt);
    now.steady += 1ms;
    EXPECT_EQ(system_of(status(), "M1"),
              R"({"serial":"M1","ageMs":3001,"supported":true,"engineRunning":true,)"
              R"("engineResponsive":true,"telemetryAvailable":true,"frameStalled":false,)"
              R"("outputs":[]})");
    server_health old;
    old.reachable = true;
    old.outputs = "[]";
    hear("M1", old);
    EXPECT_EQ(system_of(status(), "M1"),
              R"({"serial":"M1","ageMs":0,"supported":false,"engineRunning":false,)"
              R"("engineResponsive":false,"telemetryAvailable":false,"frameStalled":false,)"
              R"("outputs":[]})");
}

TEST_F(protection_status, never_forgets_a_server_of_a_former_pair) {
    watch();
    registry.configure(true, "M1", "B2");
    cycle_after(250ms);
    for (const char* serial : {"M1", "B1", "B2"})
        EXPECT_NE(system_of(status(), serial), "") << serial;
}

TEST_F(protection_status, writes_its_alerts_oldest_first_without_their_keys) {
    const auto record = [](std::uint64_t id, const char* message, alert_severity severity) {
        return alert_record{.id = id, .key = "k", .message = message, .severity = severity};
    };
    protection_snapshot snapshot;
    snapshot.alerts = {record(1, "say \"no\"\n", alert_severity::notice),
                       record(2, "two", alert_severity::warning),
                       record(3, "three", alert_severity::critical)};
    snapshot.alerts[0].started = 10;
    snapshot.alerts[0].active = true;
    snapshot.alerts[1].recovered = 25;
    snapshot.alerts[1].acknowledged = true;
    const std::string text = write_status(snapshot);
    EXPECT_EQ(text.substr(text.find(R"("alerts":)")),
              R"("alerts":[{"id":1,"message":"say \"no\"\n","severity":"notice","started":10,)"
              R"("recovered":0,"active":true,"acknowledged":false},)"
              R"({"id":2,"message":"two","severity":"warning","started":0,)"
              R"("recovered":25,"active":false,"acknowledged":true},)"
              R"({"id":3,"message":"three","severity":"critical","started":0,)"
              R"("recovered":0,"active":false,"acknowledged":false}]})");
}

TEST_F(protection_status, lists_the_alerts_oldest_first) {
    watch();
    ASSERT_TRUE(operate("backup"));
    ASSERT_TRUE(operate("main"));
    const auto listed = alerts();
    ASSERT_EQ(listed.size(), 2U);
    EXPECT_EQ(listed[0].id, 1U);
    EXPECT_EQ(listed[0].started, now.wall_ms);
    EXPECT_EQ(listed[0].recovered, now.wall_ms);
    EXPECT_EQ(listed[1].id, 2U);
    EXPECT_EQ(listed[1].recovered, 0);
}
