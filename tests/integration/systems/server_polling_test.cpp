#include "systems/server_polling.hpp"

#include "integration/support/scripted_peer.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

constexpr milliseconds ample = 60s;
const steady_time seen{std::chrono::hours(1)};

const std::string configuration_path = "/Home/GetOperatorControlConfiguration";
const std::string replication_path = "/Home/GetOperatorControlReplicationStatus";
const std::string identity_path = "/Home/GetOperatorControlIdentity";

peer_script answers(const std::string& path, int status, const std::string& body) {
    return replies_by_path({{path, http_reply_text(status, body)}});
}

// A registry that has just heard of one server on loopback.
class one_server {
public:
    one_server(const std::string& serial, std::uint16_t port) : serial_(serial) {
        registry.merge_discovered(
            {{.address = "127.0.0.1", .webPort = port, .workstation = "DESK", .serial = serial}},
            seen);
    }
    system_record record() const { return registry.find_system(serial_).value(); }
    void fall_silent() { registry.merge_discovered({}, seen + 7s); }
    void come_back(std::uint16_t port) {
        registry.merge_discovered(
            {{.address = "127.0.0.1", .webPort = port, .workstation = "DESK", .serial = serial_}},
            seen);
    }
    bool ready_after_round() {
        refresh_ui_ready(registry, memory);
        return record().uiReady;
    }

    controller_registry registry{"unused.json"};
    polling_memory memory;

private:
    std::string serial_;
};

// An identity call that can be broken and repaired.
class switchable_identity {
public:
    explicit switchable_identity(const std::string& serial)
        : peer([this, serial](peer_connection& connection) {
              connection.read_request();
              connection.send(
                  http_reply_text(works ? 200 : 500, "{\"Serial\":\"" + serial + "\"}"));
          }) {}
    std::atomic<bool> works = true;
    scripted_peer peer;
};

} // namespace

TEST(fetch_operator_control_config, reads_what_the_server_holds) {
    scripted_peer peer(answers(configuration_path, 200,
                               R"({"Enabled":true,"Systems":[{"Serial":"A","Role":"Main"}],)"
                               R"("SharedFunctionIds":[4,2],"ReplicationRevision":9})"));
    const auto config = fetch_operator_control_config("127.0.0.1", peer.port(), ample);
    ASSERT_TRUE(config);
    EXPECT_TRUE(config->enabled);
    ASSERT_EQ(config->systems.size(), 1U);
    EXPECT_EQ(config->systems[0].serial, "A");
    EXPECT_EQ(config->shared_function_ids, (std::set<std::int32_t>{2, 4}));
    EXPECT_EQ(config->replication_revision, 9);
    EXPECT_EQ(request_target(peer.received().at(0)), "GET " + configuration_path);
}

TEST(fetch_operator_control_config, is_present_and_disabled_for_an_empty_or_meaningless_200) {
    for (const std::string body : {"{}", "", "garbage"}) {
        scripted_peer peer(answers(configuration_path, 200, body));
        const auto config = fetch_operator_control_config("127.0.0.1", peer.port(), ample);
        ASSERT_TRUE(config) << body;
        EXPECT_FALSE(config->enabled) << body;
        EXPECT_TRUE(config->systems.empty()) << body;
    }
}

TEST(fetches, are_absent_for_any_other_status_and_for_no_answer) {
    const std::string body = R"({"enabled":true,"revision":5})";
    for (const int status : {201, 404, 500}) {
        scripted_peer peer(replies(http_reply_text(status, body)));
        EXPECT_FALSE(fetch_operator_control_config("127.0.0.1", peer.port(), ample)) << status;
        EXPECT_FALSE(fetch_replication_status("127.0.0.1", peer.port(), ample)) << status;
    }
    const std::uint16_t nobody = closed_port();
    EXPECT_FALSE(fetch_operator_control_config("127.0.0.1", nobody, ample));
    EXPECT_FALSE(fetch_replication_status("127.0.0.1", nobody, ample));
    scripted_peer silent([](peer_connection& connection) { connection.hang(); });
    EXPECT_FALSE(fetch_operator_control_config("127.0.0.1", silent.port(), 50ms));
    EXPECT_FALSE(fetch_replication_status("127.0.0.1", silent.port(), 50ms));
}

TEST(fetch_replication_status, reads_every_field) {
    scripted_peer peer(answers(
        replication_path, 200,
        R"({"enabled":true,"Role":"Backup","LocalSerial":"B","MainSerial":"A","revision":7,)"
        R"("appliedRevision":6,"pendingMedia":3,"EventTitle":"Gala","LastError":"slow disk"})"));
    const auto status = fetch_replication_status("127.0.0.1", peer.port(), ample);
    ASSERT_TRUE(status);
    EXPECT_TRUE(status->enabled);
    EXPECT_EQ(status->role, "Backup");
    EXPECT_EQ(status->local_serial, "B");
    EXPECT_EQ(status->main_serial, "A");
    EXPECT_EQ(status->revision, 7);
    EXPECT_EQ(status->applied_revision, 6);
    EXPECT_EQ(status->pending_media, 3);
    EXPECT_EQ(status->event_title, "Gala");
    EXPECT_EQ(status->last_error, "slow disk");
}

TEST(confirm_server_identity, wants_status_200_and_exactly_the_expected_serial) {
    struct identity_case {
        int status;
        std::string body;
        bool confirmed;
    };
    const std::vector<identity_case> cases = {
        {200, R"({"Serial":"ABC"})", true},
        {200, R"({"serial":"ABC"})", true},
        {200, R"({"Serial":"","serial":"ABC"})", true},
        {200, R"({"Serial":"abc"})", false},
        {200, R"({"Serial":"ABCD"})", false},
        {200, R"({"Serial":"AB"})", false},
        {200, R"({"Serial":"X","serial":"ABC"})", false},
        {200, R"({"Serial":""})", false},
        {200, "{}", false},
        {200, "", false},
        {404, R"({"Serial":"ABC"})", false},
        {500, R"({"Serial":"ABC"})", false},
    };
    for (const identity_case& each : cases) {
        scripted_peer peer(answers(identity_path, each.status, each.body));
        EXPECT_EQ(confirm_server_identity("127.0.0.1", peer.port(), "ABC", ample), each.confirmed)
            << each.status << each.body;
    }
}

TEST(confirm_server_identity, asks_nobody_without_a_host_a_port_and_a_serial) {
    scripted_peer peer(answers(identity_path, 200, R"({"Serial":""})"));
    EXPECT_FALSE(confirm_server_identity("", peer.port(), "ABC", ample));
    EXPECT_FALSE(confirm_server_identity("127.0.0.1", 0, "ABC", ample));
    EXPECT_FALSE(confirm_server_identity("127.0.0.1", peer.port(), "", ample));
    EXPECT_EQ(peer.connections(), 0U);
}

TEST(refresh_ui_ready, takes_a_ready_server_down_at_the_third_failure_in_a_row) {
    switchable_identity identity("third-failure");
    one_server server("third-failure", identity.peer.port());
    EXPECT_FALSE(server.record().uiReady);
    ASSERT_TRUE(server.ready_after_round());
    EXPECT_EQ(request_target(identity.peer.received().at(0)), "GET " + identity_path);
    identity.works = false;
    EXPECT_TRUE(server.ready_after_round());
    EXPECT_TRUE(server.ready_after_round());
    EXPECT_FALSE(server.ready_after_round());
    EXPECT_FALSE(server.ready_after_round());
    identity.works = true;
    EXPECT_TRUE(server.ready_after_round());
}

TEST(refresh_ui_ready, asks_no_silent_server_and_forgets_its_failures) {
    switchable_identity identity("forgets");
    one_server server("forgets", identity.peer.port());
    ASSERT_TRUE(server.ready_after_round());
    identity.works = false;
    EXPECT_TRUE(server.ready_after_round());
    EXPECT_TRUE(server.ready_after_round());
    const std::size_t asked = identity.peer.connections();

    server.fall_silent();
    EXPECT_FALSE(server.ready_after_round());
    EXPECT_EQ(identity.peer.connections(), asked);

    server.come_back(identity.peer.port());
    server.registry.set_ui_ready("forgets", true);
    EXPECT_TRUE(server.ready_after_round());
    EXPECT_TRUE(server.ready_after_round());
    EXPECT_FALSE(server.ready_after_round());
}

TEST(refresh_ui_ready, takes_another_machine_on_the_address_for_a_failure) {
    switchable_identity identity("someone-else");
    one_server server("expected-one", identity.peer.port());
    EXPECT_FALSE(server.ready_after_round());
}

TEST(poll_replication, asks_online_mains_and_backups_and_nobody_else) {
    const std::string body = R"({"Enabled":true,"Role":"Main","Revision":7,"revision":5,)"
                             R"("AppliedRevision":4,"PendingMedia":2,"EventTitle":"Gala",)"
                             R"("LastError":"none yet"})";
    replication_status known_before;
    known_before.role = "Backup";
    known_before.revision = 31;
    known_before.applied_revision = 30;
    known_before.pending_media = 9;
    known_before.event_title = "Old Show";
    known_before.last_error = "slow";
    struct role_case {
        system_role role;
        bool asked;
    };
    for (const role_case& each :
         {role_case{system_role::main, true}, role_case{system_role::backup, true},
          role_case{system_role::independent, false}}) {
        scripted_peer peer(answers(replication_path, 200, body));
        one_server server("S", peer.port());
        server.registry.set_role("S", each.role, "M");
        server.registry.set_replication("S", known_before);
        poll_replication(server.registry, server.memory);
        EXPECT_EQ(peer.connections(), each.asked ? 1U : 0U);
        const system_record record = server.record();
        EXPECT_EQ(record.replicationEnabled, each.asked);
        EXPECT_EQ(record.replicationRole, each.asked ? "Main" : "Backup");
        EXPECT_EQ(record.replicationRevision, each.asked ? 7 : 31);
        EXPECT_EQ(record.replicationAppliedRevision, each.asked ? 4 : 30);
        EXPECT_EQ(record.replicationPendingMedia, each.asked ? 2 : 9);
        EXPECT_EQ(record.replicationEventTitle, each.asked ? "Gala" : "Old Show");
        EXPECT_EQ(record.replicationLastError, each.asked ? "none yet" : "slow");
    }
}

TEST(poll_replication, keeps_what_is_known_when_an_online_server_gives_no_answer) {
    scripted_peer peer(replies_in_turn({http_reply_text(200, R"({"Role":"Main","Revision":7})"),
                                        http_reply_text(500, R"({"Role":"No","Revision":8})")}));
    one_server server("S", peer.port());
    server.registry.set_role("S", system_role::main, "");
    poll_replication(server.registry, server.memory);
    poll_replication(server.registry, server.memory);
    EXPECT_EQ(peer.connections(), 2U);
    EXPECT_EQ(server.record().replicationRole, "Main");
    EXPECT_EQ(server.record().replicationRevision, 7);
}

TEST(poll_replication, leaves_the_role_empty_where_the_reply_has_none) {
    scripted_peer peer(answers(replication_path, 200, "{}"));
    one_server server("S", peer.port());
    server.registry.set_role("S", system_role::main, "");
    poll_replication(server.registry, server.memory);
    EXPECT_EQ(server.record().replicationRole, "");
}

TEST(poll_replication, clears_a_silent_server_in_the_next_round_and_not_before) {
    scripted_peer peer(answers(replication_path, 200,
                               R"({"Enabled":true,"Role":"Main","Revision":7,"LastError":"e"})"));
    one_server server("S", peer.port());
    server.registry.set_role("S", system_role::main, "");
    poll_replication(server.registry, server.memory);
    server.fall_silent();
    EXPECT_EQ(server.record().replicationRevision, 7);
    poll_replication(server.registry, server.memory);
    EXPECT_EQ(peer.connections(), 1U);
    EXPECT_FALSE(server.record().replicationEnabled);
    EXPECT_EQ(server.record().replicationRole, "Independent");
    EXPECT_EQ(server.record().replicationRevision, 0);
    EXPECT_EQ(server.record().replicationLastError, "");
}

namespace {

// Never falls silent for longer than any time-out, and never comes to an end.
void trickle_for_ever(peer_connection& connection) {
    connection.read_request();
    connection.send("HTTP/1.1 200 OK\r\n\r\n");
    while (connection.wanted() && connection.send(" "))
        std::this_thread::sleep_for(20ms);
}

} // namespace

TEST(fetches, end_with_their_limits_though_the_server_trickles) {
    scripted_peer peer(trickle_for_ever);
    const steady_time begun = steady_now();
    const call_limits limits = call_limits{}.within(300ms);
    EXPECT_FALSE(fetch_operator_control_config("127.0.0.1", peer.port(), ample, limits));
    EXPECT_FALSE(fetch_replication_status("127.0.0.1", peer.port(), ample, limits));
    EXPECT_FALSE(confirm_server_identity("127.0.0.1", peer.port(), "S", ample, limits));
    EXPECT_LT(steady_now() - begun, 4s);
}

TEST(fetches, last_5_seconds_at_most_whatever_the_server_sends) {
    scripted_peer peer(trickle_for_ever);
    const steady_time begun = steady_now();
    EXPECT_FALSE(fetch_operator_control_config("127.0.0.1", peer.port(), 1500ms));
    EXPECT_GE(steady_now() - begun, 4900ms);
    EXPECT_LT(steady_now() - begun, 15s);
}

TEST(refresh_ui_ready, does_not_blame_a_server_for_the_end_of_the_round) {
    scripted_peer peer(trickle_for_ever);
    one_server server("cut-short", peer.port());
    server.registry.set_ui_ready("cut-short", true);
    for (int round = 0; round < 4; ++round)
        refresh_ui_ready(server.registry, server.memory, call_limits{}.within(100ms));
    EXPECT_TRUE(server.record().uiReady);
}

TEST(refresh_ui_ready, forgets_the_failures_of_servers_that_are_gone) {
    controller_registry registry("unused.json");
    polling_memory memory;
    memory.ready_counts.reset("gone");
    refresh_ui_ready(registry, memory);
    EXPECT_EQ(memory.ready_counts.size(), 0U);
}
