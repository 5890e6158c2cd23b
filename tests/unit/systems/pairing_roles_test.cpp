#include "unit/systems/registry_setups.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

using numbers = std::set<std::int32_t>;

constexpr const char* waiting_for_pairing = "Waiting to synchronize pairing with Main.";
constexpr const char* waiting_for_disabled =
    "Waiting to synchronize disabled redundancy state with Main.";

bool mentions(const controller_registry& registry, const std::string& text) {
    return registry.to_json().find(text) != std::string::npos;
}

operator_control_config pairing_of_main_and_backup() {
    operator_control_config config;
    config.enabled = true;
    config.systems = {{.serial = "M",
                       .workstation_name = "Left",
                       .address = "10.1.0.1",
                       .role = system_role::main,
                       .backup_for_serial = ""},
                      {.serial = "B",
                       .workstation_name = "Right",
                       .address = "10.1.0.2",
                       .role = system_role::backup,
                       .backup_for_serial = "M"}};
    config.shared_function_ids = {3, 4};
    return config;
}

} // namespace

TEST(set_role, keeps_the_main_of_a_backup_alone) {
    const auto registry = empty_registry();
    registry->merge_discovered({answer_of("S")}, first_round);
    struct {
        system_role role;
        std::string backup_for;
    } const cases[] = {{system_role::backup, "M"},
                       {system_role::main, ""},
                       {system_role::backup, "N"},
                       {system_role::independent, ""}};
    for (const auto& [role, backup_for] : cases) {
        registry->set_policy_sync(true, "stays");
        registry->set_role("S", role, backup_for.empty() ? "ignored" : backup_for);
        EXPECT_EQ(registry->find_system("S")->role, role);
        EXPECT_EQ(registry->find_system("S")->backupForSerial, backup_for);
        EXPECT_TRUE(registry->controller_configured());
        EXPECT_FALSE(registry->policy_synchronized());
        EXPECT_TRUE(mentions(*registry, R"("policySyncMessage":"stays")"));
    }
}

TEST(configure, gives_all_roles_anew_for_two_known_serials) {
    const auto registry = paired_registry();
    registry->set_policy_sync(true, "done");
    registry->configure(true, "B", "I");
    EXPECT_EQ(registry->find_main()->serial, "B");
    EXPECT_EQ(registry->find_main()->backupForSerial, "");
    EXPECT_EQ(registry->find_backup_for("B")->serial, "I");
    EXPECT_EQ(registry->find_system("M")->role, system_role::independent);
    EXPECT_TRUE(registry->enabled());
    EXPECT_TRUE(registry->controller_configured());
    EXPECT_FALSE(registry->policy_synchronized());
    EXPECT_TRUE(mentions(*registry, waiting_for_pairing));
}

TEST(configure, keeps_the_roles_for_any_other_choice_and_still_counts) {
    struct {
        std::string main;
        std::string backup;
    } const choices[] = {{"", ""}, {"M", ""}, {"", "B"}, {"I", "I"}, {"I", "X"}, {"X", "I"}};
    for (const auto& [main, backup] : choices) {
        for (const bool enabled : {true, false}) {
            const auto registry = paired_registry();
            registry->set_policy_sync(true, "done");
            registry->configure(enabled, main, backup);
            EXPECT_EQ(registry->find_main()->serial, "M") << main << ' ' << backup;
            EXPECT_EQ(registry->find_backup_for("M")->serial, "B") << main << ' ' << backup;
            EXPECT_EQ(registry->enabled(), enabled);
            EXPECT_FALSE(registry->policy_synchronized());
            EXPECT_TRUE(mentions(*registry, enabled ? waiting_for_pairing : waiting_for_disabled));
        }
    }
    const auto fresh = empty_registry();
    fresh->configure(false, "", "");
    EXPECT_TRUE(fresh->controller_configured());
}

TEST(configure, does_not_take_the_empty_serial_of_a_nameless_server) {
    const auto registry = empty_registry();
    registry->merge_discovered({answer_of(""), answer_of("S", "10.0.0.2")}, first_round);
    registry->configure(true, "", "S");
    EXPECT_FALSE(registry->find_main());
}

TEST(import_config, takes_over_a_pairing_and_adds_unknown_servers) {
    const auto registry = empty_registry();
    registry->import_config(pairing_of_main_and_backup());
    EXPECT_TRUE(registry->enabled());
    EXPECT_TRUE(registry->controller_configured());
    EXPECT_TRUE(registry->has_pair());
    EXPECT_EQ(registry->shared_function_ids(), (numbers{3, 4}));
    const auto backup = registry->find_backup_for("M");
    ASSERT_TRUE(backup);
    EXPECT_EQ(backup->serial, "B");
    EXPECT_EQ(backup->workstation, "Right");
    EXPECT_EQ(backup->address, "10.1.0.2");
    EXPECT_EQ(backup->webPort, 5000);
    EXPECT_FALSE(backup->online);
}

TEST(import_config, does_nothing_for_a_disabled_config_or_a_configured_workstation) {
    const auto registry = empty_registry();
    operator_control_config disabled = pairing_of_main_and_backup();
    disabled.enabled = false;
    registry->import_config(disabled);
    EXPECT_TRUE(registry->systems().empty());
    EXPECT_FALSE(registry->enabled());

    registry->configure(false, "", "");
    const std::string before = registry->to_json();
    registry->import_config(pairing_of_main_and_backup());
    EXPECT_EQ(registry->to_json(), before);
}

TEST(import_config, overwrites_texts_that_are_not_empty_and_the_address_of_offline_servers_alone) {
    const auto registry = empty_registry();
    registry->merge_discovered({answer_of("M", "10.0.0.1"), answer_of("B", "10.0.0.2")},
                               first_round);
    registry->set_online("B", false, first_round);
    operator_control_config config = pairing_of_main_and_backup();
    config.systems[0].workstation_name.clear();
    registry->import_config(config);
    EXPECT_EQ(registry->find_system("M")->address, "10.0.0.1");
    EXPECT_EQ(registry->find_system("M")->workstation, "WS-M");
    EXPECT_EQ(registry->find_system("B")->address, "10.1.0.2");
    EXPECT_EQ(registry->find_system("B")->workstation, "Right");
    EXPECT_EQ(registry->systems().size(), 2U);
}

TEST(import_config, keeps_the_address_of_an_offline_server_if_it_is_told_none) {
    const auto registry = empty_registry();
    registry->merge_discovered({answer_of("B", "10.0.0.2")}, first_round);
    registry->set_online("B", false, first_round);
    operator_control_config config = pairing_of_main_and_backup();
    config.systems[1].address.clear();
    registry->import_config(config);
    EXPECT_EQ(registry->find_system("B")->address, "10.0.0.2");
}

TEST(import_config, takes_a_lone_main_and_stays_unconfigured) {
    const auto registry = empty_registry();
    operator_control_config config = pairing_of_main_and_backup();
    config.systems.pop_back();
    registry->import_config(config);
    EXPECT_TRUE(registry->enabled());
    EXPECT_EQ(registry->find_main()->serial, "M");
    EXPECT_FALSE(registry->controller_configured());

    registry->import_config(pairing_of_main_and_backup());
    EXPECT_TRUE(registry->controller_configured());
}

TEST(import_config, takes_no_independent_server_for_a_backup_though_it_names_a_main) {
    const auto registry = empty_registry();
    operator_control_config config = pairing_of_main_and_backup();
    config.systems = {member_of_pairing("M", system_role::main),
                      member_of_pairing("I", system_role::independent, "M")};
    registry->import_config(config);
    EXPECT_EQ(registry->find_main()->serial, "M");
    EXPECT_FALSE(registry->has_pair());
    EXPECT_FALSE(registry->find_backup_for("M"));
    EXPECT_FALSE(registry->controller_configured());
}

TEST(import_config, makes_servers_independent_that_the_config_does_not_name) {
    const auto registry = empty_registry();
    operator_control_config config = pairing_of_main_and_backup();
    config.systems.pop_back();
    registry->import_config(config);
    config.systems[0].serial = "N";
    config.shared_function_ids.clear();
    registry->import_config(config);
    EXPECT_EQ(registry->find_system("M")->role, system_role::independent);
    EXPECT_EQ(registry->find_main()->serial, "N");
    EXPECT_TRUE(registry->shared_function_ids().empty());
}

TEST(pairing_config, holds_main_and_backup_in_list_order_and_no_revision) {
    const auto registry = paired_registry();
    registry->set_shared_function_ids({8});
    registry->set_replication("M", replication_at(5));
    const operator_control_config config = registry->pairing_config();
    EXPECT_TRUE(config.enabled);
    EXPECT_EQ(config.shared_function_ids, numbers{8});
    EXPECT_EQ(config.replication_revision, 0);
    ASSERT_EQ(config.systems.size(), 2U);
    EXPECT_EQ(config.systems[0].serial, "M");
    EXPECT_EQ(config.systems[0].workstation_name, "WS-M");
    EXPECT_EQ(config.systems[0].address, "10.0.0.1");
    EXPECT_EQ(config.systems[0].role, system_role::main);
    EXPECT_EQ(config.systems[0].backup_for_serial, "");
    EXPECT_EQ(config.systems[1].serial, "B");
    EXPECT_EQ(config.systems[1].role, system_role::backup);
    EXPECT_EQ(config.systems[1].backup_for_serial, "M");
}
