#include "unit/systems/registry_setups.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

// One server "S" at 10.0.0.1:5000 that has answered the first round.
std::unique_ptr<controller_registry> registry_with_one_server() {
    auto registry = empty_registry();
    registry->merge_discovered({answer_of("S")}, first_round);
    return registry;
}

system_record only_system(const controller_registry& registry) {
    const std::vector<system_record> systems = registry.systems();
    EXPECT_EQ(systems.size(), 1U);
    return systems.empty() ? system_record{} : systems.front();
}

} // namespace

TEST(merge_discovered, adds_an_unknown_server_as_an_independent_one) {
    auto registry = empty_registry();
    registry->merge_discovered(
        {{.address = "10.0.0.9", .webPort = 8080, .workstation = "W", .serial = "S"},
         answer_of("T")},
        first_round);
    const std::vector<system_record> systems = registry->systems();
    ASSERT_EQ(systems.size(), 2U);
    EXPECT_EQ(systems[0].serial, "S");
    EXPECT_EQ(systems[0].workstation, "W");
    EXPECT_EQ(systems[0].address, "10.0.0.9");
    EXPECT_EQ(systems[0].webPort, 8080);
    EXPECT_EQ(systems[0].controlPort, 1256);
    EXPECT_EQ(systems[0].role, system_role::independent);
    EXPECT_EQ(systems[0].lastSeen, first_round);
    EXPECT_TRUE(systems[0].online);
    EXPECT_FALSE(systems[0].uiReady);
    EXPECT_EQ(systems[1].serial, "T");
}

TEST(merge_discovered, knows_a_server_by_its_serial_before_its_address) {
    auto registry = registry_with_one_server();
    registry->merge_discovered({answer_of("T", "10.0.0.1")}, first_round);
    EXPECT_EQ(registry->systems().size(), 2U);
    registry->merge_discovered({answer_of("S", "10.0.0.7")}, first_round);
    EXPECT_EQ(registry->systems().size(), 2U);
    EXPECT_EQ(registry->find_system("S")->address, "10.0.0.7");
    EXPECT_EQ(registry->find_system("T")->address, "10.0.0.1");
}

TEST(merge_discovered, knows_an_answer_without_serial_by_its_address_alone) {
    auto registry = registry_with_one_server();
    discovered_server nameless = answer_of("");
    nameless.workstation = "renamed";
    registry->merge_discovered({nameless}, first_round + 1s);
    EXPECT_EQ(only_system(*registry).serial, "S");
    EXPECT_EQ(only_system(*registry).workstation, "renamed");
    EXPECT_EQ(only_system(*registry).lastSeen, first_round + 1s);

    nameless.address = "10.0.0.2";
    registry->merge_discovered({nameless}, first_round + 1s);
    ASSERT_EQ(registry->systems().size(), 2U);
    EXPECT_EQ(registry->systems()[1].serial, "");
    EXPECT_EQ(registry->systems()[1].address, "10.0.0.2");
}

TEST(merge_discovered, adds_a_server_with_serial_beside_a_nameless_one_at_its_address) {
    auto registry = empty_registry();
    registry->merge_discovered({answer_of("")}, first_round);
    registry->merge_discovered({answer_of("S")}, first_round);
    EXPECT_EQ(registry->systems().size(), 2U);
}

TEST(merge_discovered, keeps_the_way_to_a_ready_server_and_still_renews_it) {
    auto registry = registry_with_one_server();
    registry->set_ui_ready("S", true);
    discovered_server elsewhere = answer_of("S", "10.0.0.7");
    elsewhere.webPort = 8080;
    elsewhere.workstation = "renamed";
    registry->merge_discovered({elsewhere}, first_round + 5s);
    const system_record system = only_system(*registry);
    EXPECT_EQ(system.address, "10.0.0.1");
    EXPECT_EQ(system.webPort, 5000);
    EXPECT_TRUE(system.uiReady);
    EXPECT_EQ(system.workstation, "renamed");
    EXPECT_EQ(system.lastSeen, first_round + 5s);
}

TEST(merge_discovered, moves_a_server_that_is_not_ready) {
    auto registry = registry_with_one_server();
    discovered_server elsewhere = answer_of("S", "10.0.0.7");
    elsewhere.webPort = 8080;
    registry->merge_discovered({elsewhere}, first_round);
    EXPECT_EQ(only_system(*registry).address, "10.0.0.7");
    EXPECT_EQ(only_system(*registry).webPort, 8080);
}

TEST(merge_discovered, follows_a_new_port_at_the_same_address_and_doubts_readiness) {
    auto registry = registry_with_one_server();
    registry->set_ui_ready("S", true);
    registry->merge_discovered({answer_of("S")}, first_round);
    EXPECT_TRUE(only_system(*registry).uiReady);

    discovered_server moved = answer_of("S");
    moved.webPort = 5001;
    registry->merge_discovered({moved}, first_round);
    EXPECT_EQ(only_system(*registry).webPort, 5001);
    EXPECT_FALSE(only_system(*registry).uiReady);
    EXPECT_TRUE(only_system(*registry).online);
}

TEST(merge_discovered, keeps_a_known_name_when_the_answer_has_none) {
    auto registry = registry_with_one_server();
    discovered_server unnamed = answer_of("S");
    unnamed.workstation.clear();
    registry->merge_discovered({unnamed}, first_round);
    EXPECT_EQ(only_system(*registry).workstation, "WS-S");
}

TEST(merge_discovered, leaves_role_and_replication_of_a_known_server_alone) {
    auto registry = paired_registry();
    registry->set_replication("B", replication_at(4));
    registry->merge_discovered({answer_of("B", "10.0.0.2")}, first_round + 1s);
    const auto backup = registry->find_system("B");
    EXPECT_EQ(backup->role, system_role::backup);
    EXPECT_EQ(backup->backupForSerial, "M");
    EXPECT_EQ(backup->replicationRevision, 4);
}

TEST(merge_discovered, takes_a_server_offline_after_more_than_6_seconds_of_silence) {
    auto registry = registry_with_one_server();
    registry->set_ui_ready("S", true);
    registry->merge_discovered({}, first_round + 6s);
    EXPECT_TRUE(only_system(*registry).online);
    EXPECT_TRUE(only_system(*registry).uiReady);

    registry->merge_discovered({}, first_round + 6s + 1ns);
    EXPECT_FALSE(only_system(*registry).online);
    EXPECT_FALSE(only_system(*registry).uiReady);
    EXPECT_EQ(only_system(*registry).lastSeen, first_round);
}

TEST(merge_discovered, judges_each_server_by_its_own_last_answer) {
    auto registry = registry_with_one_server();
    registry->merge_discovered({answer_of("T", "10.0.0.2")}, first_round + 7s);
    EXPECT_FALSE(registry->find_system("S")->online);
    EXPECT_TRUE(registry->find_system("T")->online);
    registry->merge_discovered({answer_of("S")}, first_round + 8s);
    EXPECT_TRUE(registry->find_system("S")->online);
    EXPECT_FALSE(registry->find_system("S")->uiReady);
}

TEST(merge_discovered, keeps_a_server_that_was_never_seen_offline) {
    auto registry = empty_registry();
    operator_control_config config;
    config.enabled = true;
    config.systems = {member_of_pairing("S", system_role::main)};
    registry->import_config(config);
    registry->merge_discovered({}, steady_time{1s});
    EXPECT_FALSE(only_system(*registry).online);
}

TEST(merge_discovered, puts_a_server_back_online_whose_proof_of_life_is_recent) {
    auto registry = registry_with_one_server();
    registry->set_online("S", false, first_round);
    registry->merge_discovered({}, first_round + 1s);
    EXPECT_TRUE(only_system(*registry).online);
    EXPECT_FALSE(only_system(*registry).uiReady);
}

TEST(set_online, true_is_a_proof_of_life_and_false_is_none) {
    auto registry = registry_with_one_server();
    registry->set_online("S", true, first_round + 4s);
    EXPECT_TRUE(only_system(*registry).online);
    EXPECT_TRUE(only_system(*registry).uiReady);
    EXPECT_EQ(only_system(*registry).lastSeen, first_round + 4s);
    registry->merge_discovered({}, first_round + 10s);
    EXPECT_TRUE(only_system(*registry).online);

    registry->set_online("S", false, first_round + 9s);
    EXPECT_FALSE(only_system(*registry).online);
    EXPECT_FALSE(only_system(*registry).uiReady);
    EXPECT_EQ(only_system(*registry).lastSeen, first_round + 4s);
}
