#include "unit/systems/registry_setups.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

TEST(has_pair, needs_a_backup_of_the_first_main) {
    const auto registry = paired_registry();
    EXPECT_TRUE(registry->has_pair());
    registry->set_role("B", system_role::backup, "X");
    EXPECT_FALSE(registry->has_pair());
    registry->set_role("B", system_role::backup, "M");
    EXPECT_TRUE(registry->has_pair());
    registry->set_role("I", system_role::main, "");
    EXPECT_FALSE(registry->has_pair()) << "the first Main in the list has no Backup now";
    registry->set_role("I", system_role::independent, "");
    registry->set_role("M", system_role::independent, "");
    EXPECT_FALSE(registry->has_pair());
}

TEST(has_pair, does_not_ask_whether_redundancy_is_enabled) {
    const auto registry = paired_registry();
    registry->configure(false, "M", "B");
    EXPECT_TRUE(registry->has_pair());
}

// Which of three servers is active; each letter of `ready` is an online, ready server.
TEST(active_system, follows_roles_and_readiness) {
    enum class mode { pair, pair_disabled, main_alone, main_alone_enabled, nobody };
    struct {
        mode setting;
        std::string ready;
        std::string active;
        std::string role;
    } const cases[] = {
        {mode::pair, "MBI", "M", "main"},
        {mode::pair, "MI", "M", "main"},
        {mode::pair, "BI", "B", "backup"},
        {mode::pair, "I", "absent", "none"},
        {mode::pair, "", "absent", "none"},
        {mode::pair_disabled, "MBI", "M", "main"},
        {mode::pair_disabled, "BI", "I", "independent"},
        {mode::pair_disabled, "B", "absent", "none"},
        {mode::main_alone, "MI", "M", "main"},
        {mode::main_alone, "BI", "I", "independent"},
        {mode::main_alone_enabled, "MBI", "M", "main"},
        {mode::main_alone_enabled, "BI", "I", "independent"},
        {mode::nobody, "MB", "M", "independent"},
        {mode::nobody, "BI", "I", "independent"},
        {mode::nobody, "B", "B", "independent"},
    };
    for (const auto& [setting, ready, active, role] : cases) {
        const auto registry = paired_registry();
        if (setting != mode::pair && setting != mode::main_alone_enabled)
            registry->configure(false, "", "");
        if (setting == mode::main_alone || setting == mode::main_alone_enabled)
            registry->set_role("B", system_role::backup, "somebody else");
        if (setting == mode::nobody)
            for (const char* const serial : {"M", "B"})
                registry->set_role(serial, system_role::independent, "");
        for (const char serial : ready)
            registry->set_ui_ready(std::string(1, serial), true);
        EXPECT_EQ(active_serial(*registry), active) << static_cast<int>(setting) << ' ' << ready;
        EXPECT_EQ(registry->active_role(), role) << static_cast<int>(setting) << ' ' << ready;
    }
}

TEST(active_system, is_the_first_of_several_ready_ones_in_list_order) {
    const auto registry = empty_registry();
    registry->merge_discovered({answer_of("A", "10.0.0.1"), answer_of("C", "10.0.0.2")},
                               first_round);
    registry->set_ui_ready("C", true);
    EXPECT_EQ(active_serial(*registry), "C");
    registry->set_ui_ready("A", true);
    EXPECT_EQ(active_serial(*registry), "A");
}

TEST(active_system, is_the_pinned_server_or_nobody) {
    const auto registry = ready_pair();
    registry->set_active_override(true, "B");
    EXPECT_EQ(active_serial(*registry), "B");
    EXPECT_EQ(registry->active_role(), "backup");

    registry->set_online("B", false, first_round);
    EXPECT_EQ(active_serial(*registry), "absent");
    EXPECT_EQ(registry->active_role(), "none");

    registry->set_active_override(true, "I");
    EXPECT_EQ(active_serial(*registry), "I");
    registry->set_active_override(true, "unknown");
    EXPECT_EQ(active_serial(*registry), "absent");
    registry->set_active_override(false, "B");
    EXPECT_EQ(active_serial(*registry), "M");
}

TEST(active_system, ignores_the_override_without_an_enabled_pair) {
    const auto registry = ready_pair();
    registry->set_active_override(true, "B");
    registry->configure(false, "", "");
    EXPECT_EQ(active_serial(*registry), "M");
    registry->configure(true, "", "");
    EXPECT_EQ(active_serial(*registry), "B");
    registry->set_role("B", system_role::independent, "");
    EXPECT_EQ(active_serial(*registry), "M");
}
