#include "protection/server_health.hpp"

#include <gtest/gtest.h>

#include <chrono>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

constexpr std::uint32_t stall_ms = 1500;
const steady_time seen{1h};

// A reply of server S1 in the known version, with these further fields.
std::optional<server_health> read_reply_with(const std::string& fields) {
    const std::string comma = fields.empty() ? "" : ",";
    return read_health_reply(R"({"serial":"S1","version":1)" + comma + fields + "}", "S1", stall_ms,
                             seen);
}

struct flag_case {
    std::string fields;
    bool expected = false;
};

void expect_flag(bool server_health::*flag, const std::vector<flag_case>& cases) {
    for (const flag_case& each : cases) {
        SCOPED_TRACE(each.fields);
        const auto health = read_reply_with(each.fields);
        ASSERT_TRUE(health.has_value());
        EXPECT_EQ((*health).*flag, each.expected);
    }
}

} // namespace

TEST(read_health_reply, trusts_a_reply_of_this_serial_and_version_as_far_as_it_goes) {
    const auto health = read_reply_with("");
    ASSERT_TRUE(health.has_value());
    EXPECT_TRUE(health->reachable);
    EXPECT_TRUE(health->supported);
    EXPECT_FALSE(health->engineRunning);
    EXPECT_FALSE(health->engineResponsive);
    EXPECT_FALSE(health->telemetryAvailable);
    EXPECT_FALSE(health->engineStarting);
    EXPECT_FALSE(health->frameStalled);
    EXPECT_FALSE(health->clockFault);
    EXPECT_FALSE(health->resourcePressure);
    EXPECT_EQ(health->lastSeen, seen);
    EXPECT_EQ(health->outputs, "[]");
}

TEST(read_health_reply, learns_nothing_from_another_serial_or_version) {
    for (const char* body : {"", "garbage", "{}", R"({"serial":"S1"})", R"({"version":1})",
                             R"({"serial":"S1","version":0})", R"({"serial":"S1","version":2})",
                             R"({"serial":"S2","version":1})", R"({"serial":"s1","version":1})",
                             R"({"Serial":"S1","version":1})", R"({"serial":"S11","version":1})"}) {
        SCOPED_TRACE(body);
        EXPECT_FALSE(read_health_reply(body, "S1", stall_ms, seen).has_value());
    }
}

TEST(read_health_reply, reads_each_engine_flag_from_its_own_field) {
    const auto only = [](const std::string& name) {
        return std::vector<flag_case>{{"\"" + name + "\":true,\"channels\":[{}]", true},
                                      {"\"" + name + "\":false", false},
                                      {"\"" + name + "\":\"true\"", false},
                                      {"\"other\":true", false}};
    };
    expect_flag(&server_health::engineRunning, only("engineRunning"));
    expect_flag(&server_health::engineResponsive, only("engineResponsive"));
    expect_flag(&server_health::telemetryAvailable, only("telemetryAvailable"));
    expect_flag(&server_health::engineStarting, only("engineStarting"));
}

TEST(read_health_reply, sees_a_clock_fault_only_while_the_clock_is_engaged) {
    expect_flag(&server_health::clockFault,
                {{R"("clockEngaged":true)", true},
                 {R"("clockEngaged":true,"clockHealthy":false)", true},
                 {R"("clockEngaged":true,"clockHealthy":true)", false},
                 {R"("clockEngaged":false,"clockHealthy":false)", false},
                 {R"("clockHealthy":false)", false}});
}

TEST(read_health_reply, sees_resource_pressure_at_the_limit_of_each_known_figure) {
    expect_flag(&server_health::resourcePressure,
                {{R"("resourcesKnown":true)", false},
                 {R"("resourcesKnown":true,"cpuPercent":94)", false},
                 {R"("resourcesKnown":true,"cpuPercent":95)", true},
                 {R"("resourcesKnown":true,"memoryAvailablePercent":5)", false},
                 {R"("resourcesKnown":true,"memoryAvailablePercent":4)", true},
                 {R"("resourcesKnown":true,"gpuTemperature":89)", false},
                 {R"("resourcesKnown":true,"gpuTemperature":90)", true},
                 {R"("resourcesKnown":false,"cpuPercent":100)", false},
                 {R"("cpuPercent":100,"memoryAvailablePercent":0,"gpuTemperature":120)", false}});
}

TEST(read_health_reply,
     sees_a_stall_in_any_channel_of_the_stall_time_and_in_telemetry_without_one) {
    expect_flag(
        &server_health::frameStalled,
        {{R"("telemetryAvailable":true)", true},
         {R"("telemetryAvailable":true,"channels":[])", true},
         {R"("telemetryAvailable":false,"channels":[])", false},
         {R"("telemetryAvailable":true,"channels":[{"ageMs":1499}])", false},
         {R"("telemetryAvailable":true,"channels":[{"ageMs":1500}])", true},
         {R"("telemetryAvailable":true,"channels":[{"ageMs":1},{"ageMs":1500},{"ageMs":2}])", true},
         {R"("telemetryAvailable":true,"channels":[{"ageMs":1},{"ageMs":2}])", false},
         {R"("telemetryAvailable":true,"channels":[{"name":"one"}])", false},
         {R"("telemetryAvailable":true,"channels":[{"ageMs":-5}])", false},
         {R"("telemetryAvailable":true,"channels":[{"ageMs":5000000000}])", true},
         {R"("telemetryAvailable":false,"channels":[{"ageMs":1500}])", true}});
}

TEST(read_health_reply, keeps_the_raw_text_of_the_outputs) {
    const auto health = read_reply_with(R"("outputs":[ {"id":"o1","name":"Left ]"} ])");
    ASSERT_TRUE(health.has_value());
    EXPECT_EQ(health->outputs, R"([ {"id":"o1","name":"Left ]"} ])");
    for (const char* fields : {R"("outputs":"none")", R"("outputs":[{"id":"o1")"}) {
        SCOPED_TRACE(fields);
        const auto without = read_reply_with(fields);
        ASSERT_TRUE(without.has_value());
        EXPECT_EQ(without->outputs, "[]");
        EXPECT_FALSE(output_available(*without, "o1"));
    }
}

TEST(output_available, wants_an_output_that_is_available_and_not_unknown) {
    const auto health = read_reply_with(
        R"("outputs":[{"id":"plain","available":true},{"id":"silent"},)"
        R"({"id":"gone","available":false},{"id":"known","available":true,"known":true},)"
        R"({"id":"unknown","available":true,"known":false},)"
        R"({"id":"twice","available":true},{"id":"twice","available":false},)"
        R"({"id":"lost","available":false},{"id":"lost","available":true}])");
    ASSERT_TRUE(health.has_value());
    const std::vector<std::pair<std::string, bool>> cases{
        {"plain", true}, {"silent", false}, {"gone", false},  {"known", true}, {"unknown", false},
        {"twice", true}, {"lost", false},   {"Plain", false}, {"", false},     {"absent", false}};
    for (const auto& [id, expected] : cases) {
        SCOPED_TRACE(id);
        EXPECT_EQ(output_available(*health, id), expected);
    }
    EXPECT_FALSE(output_available(server_health{}, "plain"));
}

TEST(output_available, takes_an_output_without_an_id_as_the_empty_id) {
    const auto health = read_reply_with(R"("outputs":[{"available":true}])");
    ASSERT_TRUE(health.has_value());
    EXPECT_TRUE(output_available(*health, ""));
}

TEST(read_identity_reply, makes_a_matching_server_alive_and_no_more) {
    const auto health = read_identity_reply(
        R"({"Serial":"S1","engineRunning":true,"outputs":[{"id":"o1","available":true}]})", "S1",
        seen);
    ASSERT_TRUE(health.has_value());
    EXPECT_TRUE(health->reachable);
    EXPECT_FALSE(health->supported);
    EXPECT_FALSE(health->engineRunning);
    EXPECT_FALSE(health->engineResponsive);
    EXPECT_FALSE(health->telemetryAvailable);
    EXPECT_FALSE(health->engineStarting);
    EXPECT_FALSE(health->frameStalled);
    EXPECT_FALSE(health->clockFault);
    EXPECT_FALSE(health->resourcePressure);
    EXPECT_EQ(health->lastSeen, seen);
    EXPECT_EQ(health->outputs, "[]");
    EXPECT_FALSE(output_available(*health, "o1"));
}

TEST(read_identity_reply, knows_one_spelling_of_the_serial) {
    for (const char* body :
         {"", R"({"serial":"S1"})", R"({"Serial":"S2"})", R"({"SERIAL":"S1"})"}) {
        SCOPED_TRACE(body);
        EXPECT_FALSE(read_identity_reply(body, "S1", seen).has_value());
    }
}
