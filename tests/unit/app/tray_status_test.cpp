#include "app/tray_status.hpp"
#include "unit/systems/registry_setups.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

// A ready, synchronised pair; Main at `revision`, Backup at `applied` with `pending` media to come.
std::unique_ptr<controller_registry> pair_at(std::int64_t revision, std::int64_t applied,
                                             std::int32_t pending) {
    auto registry = ready_pair();
    registry->set_policy_sync(true, "done");
    registry->set_replication("M", replication_at(revision, 77));
    registry->set_replication("B", replication_at(88, applied, pending));
    return registry;
}

std::string sync_line(const controller_registry& registry) {
    return build_tray_status(registry, 0).sync_line;
}

} // namespace

TEST(build_tray_status, shows_an_unconfigured_pair_before_anything_is_known) {
    const tray_status status = build_tray_status(*empty_registry(), 0);
    EXPECT_EQ(status.main_line, "Main: Not configured");
    EXPECT_EQ(status.backup_line, "Backup: Not configured");
    EXPECT_EQ(status.sync_line, "Show Sync: Disabled");
    EXPECT_EQ(status.deck_count, 0U);
}

TEST(build_tray_status, names_each_system_and_its_state) {
    const auto registry = paired_registry();
    registry->set_ui_ready("M", true);
    tray_status status = build_tray_status(*registry, 3);
    EXPECT_EQ(status.main_line, "Main: WS-M - Ready");
    EXPECT_EQ(status.backup_line, "Backup: WS-B - Starting");
    EXPECT_EQ(status.deck_count, 3U);

    registry->set_online("B", false, first_round);
    EXPECT_EQ(build_tray_status(*registry, 0).backup_line, "Backup: WS-B - Offline");
}

TEST(build_tray_status, shows_the_serial_of_a_system_without_a_name) {
    const auto registry = empty_registry();
    discovered_server nameless = answer_of("S1");
    nameless.workstation.clear();
    registry->merge_discovered({nameless}, first_round);
    registry->set_role("S1", system_role::main, "");
    EXPECT_EQ(build_tray_status(*registry, 0).main_line, "Main: S1 - Starting");
}

TEST(build_tray_status, shows_no_backup_that_belongs_to_another_main) {
    const auto registry = paired_registry();
    registry->set_role("B", system_role::backup, "X");
    EXPECT_EQ(build_tray_status(*registry, 0).backup_line, "Backup: Not configured");
    registry->set_role("B", system_role::backup, "M");
    registry->set_role("M", system_role::independent, "");
    EXPECT_EQ(build_tray_status(*registry, 0).backup_line, "Backup: Not configured");
}

TEST(build_tray_status, compares_mains_revision_with_what_backup_has_applied) {
    struct {
        std::int64_t revision;
        std::int64_t applied;
        std::int32_t pending;
        std::string line;
    } const cases[] = {
        {0, 0, 0, "Show Sync: Syncing 0/0"},
        {1, 1, 0, "Show Sync: In Sync - Rev 1"},
        {1, 0, 0, "Show Sync: Syncing 0/1"},
        {5, 6, 0, "Show Sync: Syncing 6/5"},
        {5, 5, 1, "Show Sync: Syncing 5/5"},
        {-1, -1, 0, "Show Sync: Syncing -1/-1"},
        {8589934592, 8589934592, 0, "Show Sync: In Sync - Rev 8589934592"},
    };
    for (const auto& [revision, applied, pending, line] : cases)
        EXPECT_EQ(sync_line(*pair_at(revision, applied, pending)), line);
}

TEST(build_tray_status, shows_the_weightiest_sync_text_first) {
    const auto registry = pair_at(4, 4, 0);
    EXPECT_EQ(sync_line(*registry), "Show Sync: In Sync - Rev 4");

    registry->set_ui_ready("B", false);
    EXPECT_EQ(sync_line(*registry), "Show Sync: Degraded");

    registry->set_policy_sync(false, "waiting");
    EXPECT_EQ(sync_line(*registry), "Show Sync: Pairing Pending");

    registry->set_ui_ready("B", true);
    EXPECT_EQ(sync_line(*registry), "Show Sync: Pairing Pending");

    registry->set_active_override(true, "B");
    EXPECT_EQ(sync_line(*registry), "Show Sync: Backup Active");

    registry->configure(false, "", "");
    EXPECT_EQ(sync_line(*registry), "Show Sync: Disabled");
}

TEST(build_tray_status, is_degraded_without_a_ready_main_or_without_a_backup) {
    const auto pinned_main = pair_at(4, 4, 0);
    pinned_main->set_active_override(true, "M");
    pinned_main->set_online("M", false, first_round);
    EXPECT_EQ(sync_line(*pinned_main), "Show Sync: Degraded");

    const auto no_backup = pair_at(4, 4, 0);
    no_backup->set_role("B", system_role::independent, "");
    no_backup->set_policy_sync(true, "done");
    EXPECT_EQ(sync_line(*no_backup), "Show Sync: Degraded");

    const auto no_main = pair_at(4, 4, 0);
    no_main->set_role("M", system_role::independent, "");
    no_main->set_policy_sync(true, "done");
    EXPECT_EQ(sync_line(*no_main), "Show Sync: Degraded");
}

TEST(build_tray_status, shows_an_active_backup_although_main_is_down_and_unsynchronised) {
    const auto registry = ready_pair();
    registry->set_online("M", false, first_round);
    EXPECT_EQ(sync_line(*registry), "Show Sync: Backup Active");
}
