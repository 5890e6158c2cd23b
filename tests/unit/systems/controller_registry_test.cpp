#include "unit/systems/registry_setups.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

using numbers = std::set<std::int32_t>;

bool mentions(const controller_registry& registry, const std::string& text) {
    return registry.to_json().find(text) != std::string::npos;
}

} // namespace

TEST(controller_registry, starts_without_systems_and_unconfigured) {
    const auto registry = empty_registry();
    EXPECT_FALSE(registry->enabled());
    EXPECT_FALSE(registry->controller_configured());
    EXPECT_FALSE(registry->policy_synchronized());
    EXPECT_FALSE(registry->has_pair());
    EXPECT_EQ(registry->ui_port(), 5270);
    EXPECT_TRUE(registry->open_browser_on_start());
    EXPECT_TRUE(registry->systems().empty());
    EXPECT_EQ(registry->shared_function_ids().size(), 23U);
    EXPECT_FALSE(registry->find_main());
    EXPECT_FALSE(registry->find_system(""));
    EXPECT_FALSE(registry->active_system());
    EXPECT_EQ(registry->active_role(), "none");
}

TEST(controller_registry, hands_out_copies) {
    const auto registry = paired_registry();
    registry->systems()[0].serial = "changed";
    registry->find_main()->online = false;
    registry->shared_function_ids().clear();
    EXPECT_EQ(registry->systems()[0].serial, "I");
    EXPECT_TRUE(registry->find_main()->online);
    EXPECT_EQ(registry->shared_function_ids().size(), 23U);
}

TEST(controller_registry, finds_records_by_exact_serial_and_role) {
    const auto registry = paired_registry();
    EXPECT_EQ(registry->find_system("B")->address, "10.0.0.2");
    EXPECT_FALSE(registry->find_system("b"));
    EXPECT_FALSE(registry->find_system("B "));
    EXPECT_EQ(registry->find_main()->serial, "M");
    EXPECT_EQ(registry->find_backup_for("M")->serial, "B");
    EXPECT_FALSE(registry->find_backup_for("B"));
}

TEST(controller_registry, finds_the_pair_whole_or_not_at_all) {
    const auto registry = paired_registry();
    const auto pair = registry->find_pair();
    ASSERT_TRUE(pair);
    EXPECT_EQ(pair->main.serial, "M");
    EXPECT_EQ(pair->backup.serial, "B");
    registry->set_role("B", system_role::independent, "");
    EXPECT_FALSE(registry->find_pair()) << "a Main without its Backup";
    registry->set_role("B", system_role::backup, "M");
    ASSERT_TRUE(registry->find_pair());
    registry->set_role("M", system_role::independent, "");
    EXPECT_FALSE(registry->find_pair()) << "a Backup without its Main";
    EXPECT_FALSE(empty_registry()->find_pair());
}

TEST(set_ui_ready, never_makes_an_offline_server_ready) {
    const auto registry = paired_registry();
    registry->set_online("M", false, first_round);
    registry->set_ui_ready("M", true);
    EXPECT_FALSE(registry->find_main()->uiReady);
    registry->set_ui_ready("B", true);
    EXPECT_TRUE(registry->find_system("B")->uiReady);
    registry->set_ui_ready("B", false);
    EXPECT_FALSE(registry->find_system("B")->uiReady);
    EXPECT_TRUE(registry->find_system("B")->online);
}

TEST(set_replication, writes_the_seven_fields_as_they_came_and_clearing_gives_the_defaults) {
    const auto registry = paired_registry();
    registry->set_replication("B", {.enabled = true,
                                    .role = "Follower",
                                    .local_serial = "x",
                                    .main_serial = "y",
                                    .revision = 9,
                                    .applied_revision = 8,
                                    .pending_media = 7,
                                    .event_title = "Gala",
                                    .last_error = "disk"});
    system_record backup = *registry->find_system("B");
    EXPECT_TRUE(backup.replicationEnabled);
    EXPECT_EQ(backup.replicationRole, "Follower");
    EXPECT_EQ(backup.replicationRevision, 9);
    EXPECT_EQ(backup.replicationAppliedRevision, 8);
    EXPECT_EQ(backup.replicationPendingMedia, 7);
    EXPECT_EQ(backup.replicationEventTitle, "Gala");
    EXPECT_EQ(backup.replicationLastError, "disk");
    EXPECT_EQ(registry->find_main()->replicationRevision, 0);

    registry->set_replication("B", {});
    EXPECT_EQ(registry->find_system("B")->replicationRole, "");

    registry->clear_replication("B");
    backup = *registry->find_system("B");
    EXPECT_FALSE(backup.replicationEnabled);
    EXPECT_EQ(backup.replicationRole, "Independent");
    EXPECT_EQ(backup.replicationRevision, 0);
    EXPECT_EQ(backup.replicationAppliedRevision, 0);
    EXPECT_EQ(backup.replicationPendingMedia, 0);
    EXPECT_EQ(backup.replicationEventTitle, "");
    EXPECT_EQ(backup.replicationLastError, "");
}

TEST(controller_registry, ignores_writers_with_an_unknown_serial) {
    const auto registry = ready_pair();
    registry->set_policy_sync(true, "done");
    const std::string before = registry->to_json();
    registry->set_online("X", true, first_round);
    registry->set_ui_ready("X", true);
    registry->set_replication("X", replication_at(3));
    registry->clear_replication("X");
    registry->set_role("X", system_role::main, "M");
    EXPECT_EQ(registry->to_json(), before);

    const auto fresh = empty_registry();
    fresh->set_role("X", system_role::main, "");
    EXPECT_FALSE(fresh->controller_configured());
}

TEST(set_shared_function_ids, replaces_the_set_and_needs_a_new_synchronisation) {
    const auto registry = empty_registry();
    registry->set_policy_sync(true, "done");
    EXPECT_TRUE(registry->policy_synchronized());
    registry->set_shared_function_ids({5, -1});
    EXPECT_EQ(registry->shared_function_ids(), (numbers{-1, 5}));
    EXPECT_FALSE(registry->policy_synchronized());
    EXPECT_TRUE(mentions(*registry, R"("policySyncMessage":"done")"));
    registry->set_shared_function_ids({});
    EXPECT_TRUE(registry->shared_function_ids().empty());
}

TEST(set_ui_port, takes_no_port_below_1024) {
    const auto registry = empty_registry();
    for (const std::uint16_t port : std::vector<std::uint16_t>{0, 80, 1023}) {
        registry->set_ui_port(port);
        EXPECT_EQ(registry->ui_port(), 5270) << port;
    }
    for (const std::uint16_t port : std::vector<std::uint16_t>{1024, 65535}) {
        registry->set_ui_port(port);
        EXPECT_EQ(registry->ui_port(), port);
    }
    EXPECT_TRUE(mentions(*registry, R"("uiPort":65535,"runtimeUiPort":5270)"));
    registry->set_runtime_ui_port(65535);
    EXPECT_TRUE(mentions(*registry, R"("runtimeUiPort":65535)"));
}

TEST(controller_registry, keeps_the_browser_setting) {
    const auto registry = empty_registry();
    registry->set_open_browser_on_start(false);
    EXPECT_FALSE(registry->open_browser_on_start());
    registry->set_open_browser_on_start(true);
    EXPECT_TRUE(registry->open_browser_on_start());
}

TEST(to_json, is_the_text_of_the_registry_file) {
    const auto registry = empty_registry();
    EXPECT_EQ(registry->to_json(), write_registry_json({}));
    registry->set_policy_sync(true, "in \"step\"");
    EXPECT_TRUE(registry->to_json().ends_with(
        R"("policySynchronized":true,"policySyncMessage":"in \"step\""})"));
}
