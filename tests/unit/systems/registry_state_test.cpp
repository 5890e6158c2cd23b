#include "systems/registry_state.hpp"

#include <gtest/gtest.h>

#include <utility>

using namespace elvantris::operator_control;

namespace {

using numbers = std::set<std::int32_t>;

registry_state state_from(std::string_view text) {
    registry_state state;
    read_registry_json(text, state);
    return state;
}

constexpr std::string_view main_and_backup =
    R"("systems":[{"serial":"M","role":"Main"},)"
    R"({"serial":"B","role":"Backup","backupForSerial":"M"}])";

} // namespace

TEST(registry_state, starts_unconfigured_with_23_shared_functions) {
    const registry_state state;
    EXPECT_FALSE(state.enabled);
    EXPECT_FALSE(state.activeOverride);
    EXPECT_EQ(state.activeOverrideSerial, "");
    EXPECT_FALSE(state.controllerConfigured);
    EXPECT_EQ(state.uiPort, 5270);
    EXPECT_EQ(state.runtimeUiPort, 5270);
    EXPECT_TRUE(state.openBrowserOnStart);
    EXPECT_TRUE(state.systems.empty());
    EXPECT_FALSE(state.policySynchronized);
    EXPECT_EQ(state.policySyncMessage, "");
    EXPECT_EQ(state.sharedFunctionIds, (numbers{1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12,
                                                13, 14, 15, 16, 17, 24, 25, 26, 27, 28, 29}));
}

TEST(write_registry_json, writes_the_defaults_in_their_fixed_order) {
    EXPECT_EQ(write_registry_json({}),
              R"({"enabled":false,"controllerConfigured":false,"uiPort":5270,"runtimeUiPort":5270,)"
              R"("openBrowserOnStart":true,"systems":[],"sharedFunctionIds":[1,2,3,4,5,6,7,8,9,10,)"
              R"(11,12,13,14,15,16,17,24,25,26,27,28,29],"policySynchronized":false,)"
              R"("policySyncMessage":""})");
}

TEST(write_registry_json, writes_every_field_of_every_system) {
    registry_state state;
    state.enabled = true;
    state.activeOverride = true;
    state.activeOverrideSerial = "not written";
    state.controllerConfigured = true;
    state.uiPort = 1024;
    state.runtimeUiPort = 65535;
    state.openBrowserOnStart = false;
    state.sharedFunctionIds = {7, -2, 30};
    state.policySynchronized = true;
    state.policySyncMessage = "a \"b\"";
    system_record& full = state.systems.emplace_back();
    full.serial = "S\"1";
    full.workstation = "W\\1";
    full.address = "10.0.0.1";
    full.webPort = 65535;
    full.controlPort = 4711;
    full.role = system_role::backup;
    full.backupForSerial = "M\n";
    full.online = true;
    full.uiReady = true;
    full.replicationEnabled = true;
    full.replicationRole = "Ba\tckup";
    full.replicationRevision = 9223372036854775807;
    full.replicationAppliedRevision = -9223372036854775807;
    full.replicationPendingMedia = -3;
    full.replicationEventTitle = "Caf\xc3\xa9";
    full.replicationLastError = "\x01";
    state.systems.emplace_back().address = "10.0.0.5";

    EXPECT_EQ(write_registry_json(state),
              R"({"enabled":true,"controllerConfigured":true,"uiPort":1024,"runtimeUiPort":65535,)"
              R"("openBrowserOnStart":false,"systems":[)"
              R"({"serial":"S\"1","workstation":"W\\1","address":"10.0.0.1","webPort":65535,)"
              R"("controlPort":1256,"role":"Backup","backupForSerial":"M\n","online":true,)"
              R"("uiReady":true,"replicationEnabled":true,"replicationRole":"Ba\tckup",)"
              R"("replicationRevision":9223372036854775807,)"
              R"("replicationAppliedRevision":-9223372036854775807,"replicationPendingMedia":-3,)"
              "\"replicationEventTitle\":\"Caf\xc3\xa9\","
              R"("replicationLastError":"\u0001"},)"
              R"({"serial":"","workstation":"","address":"10.0.0.5","webPort":5000,)"
              R"("controlPort":1256,"role":"Independent","backupForSerial":"","online":false,)"
              R"("uiReady":false,"replicationEnabled":false,"replicationRole":"Independent",)"
              R"("replicationRevision":0,"replicationAppliedRevision":0,)"
              R"("replicationPendingMedia":0,"replicationEventTitle":"",)"
              R"("replicationLastError":""}],)"
              R"("sharedFunctionIds":[-2,7,30],"policySynchronized":true,)"
              R"("policySyncMessage":"a \"b\""})");
}

TEST(read_registry_json, gives_the_defaults_for_a_damaged_text) {
    const std::string defaults = write_registry_json({});
    for (const std::string_view text :
         {"", "{}", "garbage", "\"enabled\"", "{\"enabled\":", "[[[[", "{\"systems\":[{\"serial\"",
          "{\"enabled\":1,\"uiPort\":\"x\",\"openBrowserOnStart\":null,\"systems\":{}}"})
        EXPECT_EQ(write_registry_json(state_from(text)), defaults) << text;
}

TEST(read_registry_json, keeps_the_ui_port_between_1024_and_65535) {
    struct {
        std::string_view value;
        std::uint16_t port;
    } const cases[] = {
        {"80", 5270},
        {"1023", 5270},
        {"1024", 1024},
        {"1025", 1025},
        {"65534", 65534},
        {"65535", 65535},
        {"65536", 5270},
        {"70000", 5270},
        {"-1", 5270},
        {"0", 5270},
        {"\"8080\"", 5270},
        {"8080.5", 8080},
        {"99999999999999", 5270},
    };
    for (const auto& [value, port] : cases) {
        const registry_state state = state_from("{\"uiPort\":" + std::string(value) + "}");
        EXPECT_EQ(state.uiPort, port) << value;
        EXPECT_EQ(state.runtimeUiPort, port) << value;
    }
}

TEST(read_registry_json, takes_the_runtime_port_from_the_wanted_one) {
    const registry_state state = state_from(R"({"uiPort":6000,"runtimeUiPort":7000})");
    EXPECT_EQ(state.uiPort, 6000);
    EXPECT_EQ(state.runtimeUiPort, 6000);
}

TEST(read_registry_json, reads_the_lasting_fields_of_a_system_and_no_live_ones) {
    const registry_state state = state_from(
        R"({"systems":[{"serial":"S","workstation":"W","address":"10.0.0.1","webPort":8080,)"
        R"("controlPort":9999,"role":"Main","backupForSerial":"X","online":true,"uiReady":true,)"
        R"("replicationEnabled":true,"replicationRole":"Main","replicationRevision":5,)"
        R"("replicationAppliedRevision":4,"replicationPendingMedia":3,)"
        R"("replicationEventTitle":"T","replicationLastError":"E"}]})");
    ASSERT_EQ(state.systems.size(), 1U);
    const system_record& system = state.systems[0];
    EXPECT_EQ(system.serial, "S");
    EXPECT_EQ(system.workstation, "W");
    EXPECT_EQ(system.address, "10.0.0.1");
    EXPECT_EQ(system.webPort, 8080);
    EXPECT_EQ(system.controlPort, 1256);
    EXPECT_EQ(system.role, system_role::main);
    EXPECT_EQ(system.backupForSerial, "X");
    EXPECT_FALSE(system.online);
    EXPECT_FALSE(system.uiReady);
    EXPECT_EQ(system.lastSeen, steady_time{});
    EXPECT_FALSE(system.replicationEnabled);
    EXPECT_EQ(system.replicationRole, "Independent");
    EXPECT_EQ(system.replicationRevision, 0);
    EXPECT_EQ(system.replicationAppliedRevision, 0);
    EXPECT_EQ(system.replicationPendingMedia, 0);
    EXPECT_EQ(system.replicationEventTitle, "");
    EXPECT_EQ(system.replicationLastError, "");
}

TEST(read_registry_json, drops_a_system_with_neither_serial_nor_address) {
    const registry_state state =
        state_from(R"({"systems":[{"workstation":"x"},{"address":"10.0.0.5"},{"serial":"S"},)"
                   R"({"serial":"","address":"","role":"Main"},7]})");
    ASSERT_EQ(state.systems.size(), 2U);
    EXPECT_EQ(state.systems[0].serial, "");
    EXPECT_EQ(state.systems[0].address, "10.0.0.5");
    EXPECT_EQ(state.systems[1].serial, "S");
    EXPECT_EQ(state.systems[1].address, "");
}

TEST(read_registry_json, cuts_a_web_port_to_16_bits) {
    struct {
        std::string_view value;
        std::uint16_t port;
    } const cases[] = {{"80", 80},       {"65535", 65535}, {"65536", 0}, {"70000", 4464},
                       {"\"80\"", 5000}, {"null", 5000},   {"-1", 65535}};
    for (const auto& [value, port] : cases) {
        const registry_state state =
            state_from(R"({"systems":[{"serial":"S","webPort":)" + std::string(value) + "}]}");
        ASSERT_EQ(state.systems.size(), 1U);
        EXPECT_EQ(state.systems[0].webPort, port) << value;
    }
}

TEST(read_registry_json, knows_the_role_words_in_their_exact_case) {
    struct {
        std::string_view word;
        system_role role;
    } const cases[] = {{"Main", system_role::main},
                       {"Backup", system_role::backup},
                       {"Independent", system_role::independent},
                       {"main", system_role::independent},
                       {"BACKUP", system_role::independent}};
    for (const auto& [word, role] : cases) {
        const registry_state state =
            state_from(R"({"systems":[{"serial":"S","role":")" + std::string(word) + "\"}]}");
        ASSERT_EQ(state.systems.size(), 1U);
        EXPECT_EQ(state.systems[0].role, role) << word;
    }
    EXPECT_EQ(state_from(R"({"systems":[{"serial":"S"}]})").systems.at(0).role,
              system_role::independent);
}

TEST(read_registry_json, is_configured_as_the_file_says_and_else_if_any_main_has_a_backup) {
    const std::string pair(main_and_backup);
    const std::string second_main_paired =
        R"("systems":[{"serial":"A","role":"Main"},{"serial":"M","role":"Main"},)"
        R"({"serial":"B","role":"Backup","backupForSerial":"M"}])";
    const std::string unpaired = R"("systems":[{"serial":"M","role":"Main"},)"
                                 R"({"serial":"B","role":"Backup","backupForSerial":"X"}])";
    const std::string not_a_backup = R"("systems":[{"serial":"M","role":"Main"},)"
                                     R"({"serial":"B","backupForSerial":"M"}])";
    struct {
        std::string text;
        bool configured;
    } const cases[] = {
        {"{" + pair + "}", true},
        {"{\"controllerConfigured\":false," + pair + "}", false},
        {"{\"controllerConfigured\":true," + pair + "}", true},
        {"{\"controllerConfigured\":\"false\"," + pair + "}", true},
        {"{" + second_main_paired + "}", true},
        {"{" + unpaired + "}", false},
        {"{" + not_a_backup + "}", false},
        {"{\"controllerConfigured\":true," + unpaired + "}", true},
        {"{\"controllerConfigured\":0," + unpaired + "}", false},
        {"{}", false},
    };
    for (const auto& [text, configured] : cases)
        EXPECT_EQ(state_from(text).controllerConfigured, configured) << text;
}

TEST(read_registry_json, keeps_the_default_functions_unless_the_file_names_some) {
    EXPECT_EQ(state_from(R"({"sharedFunctionIds":[]})").sharedFunctionIds,
              default_shared_function_ids());
    EXPECT_EQ(state_from(R"({"sharedFunctionIds":["x"]})").sharedFunctionIds,
              default_shared_function_ids());
    EXPECT_EQ(state_from(R"({"sharedFunctionIds":[9,4,4]})").sharedFunctionIds, (numbers{4, 9}));
}

TEST(read_registry_json, leaves_override_and_synchronisation_alone_whatever_the_file_says) {
    registry_state state;
    state.activeOverride = true;
    state.activeOverrideSerial = "B";
    state.policySyncMessage = "before";
    read_registry_json(R"({"activeOverride":false,"activeOverrideSerial":"X",)"
                       R"("policySynchronized":true,"policySyncMessage":"after"})",
                       state);
    EXPECT_TRUE(state.activeOverride);
    EXPECT_EQ(state.activeOverrideSerial, "B");
    EXPECT_FALSE(state.policySynchronized);
    EXPECT_EQ(state.policySyncMessage, "before");
}

TEST(read_registry_json, replaces_what_stood_there) {
    registry_state state = state_from("{\"enabled\":true,\"openBrowserOnStart\":false," +
                                      std::string(main_and_backup) + "}");
    EXPECT_TRUE(state.enabled);
    EXPECT_FALSE(state.openBrowserOnStart);
    EXPECT_EQ(state.systems.size(), 2U);
    read_registry_json(R"({"systems":[{"serial":"N"}]})", state);
    EXPECT_FALSE(state.enabled);
    EXPECT_TRUE(state.openBrowserOnStart);
    EXPECT_FALSE(state.controllerConfigured);
    ASSERT_EQ(state.systems.size(), 1U);
    EXPECT_EQ(state.systems[0].serial, "N");
}

TEST(read_registry_json, reads_back_what_was_written) {
    registry_state state;
    state.enabled = true;
    state.controllerConfigured = true;
    state.uiPort = 6001;
    state.runtimeUiPort = 6001;
    state.openBrowserOnStart = false;
    state.sharedFunctionIds = {-1, 4, 40};
    system_record system;
    system.serial = "S/\"\\\t\x1f";
    system.workstation = "B\xc3\xbchne 1";
    system.address = "10.0.0.1";
    system.webPort = 8080;
    system.role = system_role::main;
    state.systems.push_back(system);
    system.role = system_role::backup;
    system.backupForSerial = std::exchange(system.serial, "B");
    state.systems.push_back(system);
    EXPECT_EQ(write_registry_json(state_from(write_registry_json(state))),
              write_registry_json(state));
}
