#include "systems/server_replies.hpp"

#include "unit/systems/registry_setups.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

using numbers = std::set<std::int32_t>;

operator_control_system as_main(const std::string& serial) {
    return member_of_pairing(serial, system_role::main);
}

operator_control_system as_backup(const std::string& serial, const std::string& main) {
    return member_of_pairing(serial, system_role::backup, main);
}

operator_control_system as_independent(const std::string& serial) {
    return member_of_pairing(serial, system_role::independent);
}

operator_control_config enabled_config(std::vector<operator_control_system> systems,
                                       numbers shared = {}) {
    return {
        .enabled = true, .systems = std::move(systems), .shared_function_ids = std::move(shared)};
}

std::vector<operator_control_system> strangers(std::size_t count, std::size_t name_size = 0) {
    std::vector<operator_control_system> systems;
    for (std::size_t i = 0; i < count; ++i) {
        systems.push_back(as_independent("stranger-" + std::to_string(i)));
        systems.back().workstation_name.assign(name_size, 'x');
    }
    return systems;
}

std::size_t text_bytes(const operator_control_config& config) {
    std::size_t bytes = 0;
    for (const operator_control_system& system : config.systems)
        bytes += system.serial.size() + system.workstation_name.size() + system.address.size() +
                 system.backup_for_serial.size();
    return bytes;
}

} // namespace

TEST(merge_discovered_configs, is_disabled_and_empty_for_none_and_for_disabled_ones) {
    operator_control_config disabled = enabled_config({as_main("M")}, {1});
    disabled.enabled = false;
    for (const auto& configs : {std::vector<operator_control_config>{}, {disabled}}) {
        const operator_control_config merged = merge_discovered_configs(configs);
        EXPECT_FALSE(merged.enabled);
        EXPECT_TRUE(merged.systems.empty());
        EXPECT_TRUE(merged.shared_function_ids.empty());
    }
    EXPECT_TRUE(merge_discovered_configs({disabled, enabled_config({})}).enabled);
    EXPECT_TRUE(merge_discovered_configs({disabled, enabled_config({})}).systems.empty());
}

TEST(merge_discovered_configs, appends_new_serials_in_order_of_appearance) {
    const operator_control_config merged = merge_discovered_configs(
        {enabled_config({as_backup("B", "M")}), enabled_config({as_main("M"), as_main("N")})});
    ASSERT_EQ(merged.systems.size(), 3U);
    EXPECT_EQ(merged.systems[0].serial, "B");
    EXPECT_EQ(merged.systems[1].serial, "M");
    EXPECT_EQ(merged.systems[2].serial, "N");
    EXPECT_EQ(merged.replication_revision, 0);
}

TEST(merge_discovered_configs, overwrites_with_later_texts_that_are_not_empty) {
    const operator_control_system first{.serial = "S",
                                        .workstation_name = "W1",
                                        .address = "A1",
                                        .role = system_role::backup,
                                        .backup_for_serial = "M1"};
    operator_control_system second{.serial = "S",
                                   .workstation_name = "W2",
                                   .address = "A2",
                                   .role = system_role::main,
                                   .backup_for_serial = "M2"};
    const operator_control_config all =
        merge_discovered_configs({enabled_config({first}), enabled_config({second})});
    ASSERT_EQ(all.systems.size(), 1U);
    EXPECT_EQ(all.systems[0].workstation_name, "W2");
    EXPECT_EQ(all.systems[0].address, "A2");
    EXPECT_EQ(all.systems[0].role, system_role::main);
    EXPECT_EQ(all.systems[0].backup_for_serial, "M2");

    const operator_control_config kept =
        merge_discovered_configs({enabled_config({first}), enabled_config({as_independent("S")})});
    ASSERT_EQ(kept.systems.size(), 1U);
    EXPECT_EQ(kept.systems[0].workstation_name, "W1");
    EXPECT_EQ(kept.systems[0].address, "A1");
    EXPECT_EQ(kept.systems[0].role, system_role::backup);
    EXPECT_EQ(kept.systems[0].backup_for_serial, "M1");
}

TEST(merge_discovered_configs, prefers_the_functions_of_a_config_that_knows_a_main) {
    const operator_control_config main_1 = enabled_config({as_main("M")}, {1});
    const operator_control_config main_2 = enabled_config({as_main("M")}, {2});
    const operator_control_config main_none = enabled_config({as_main("M")});
    const operator_control_config other_3 = enabled_config({as_backup("B", "M")}, {3});
    const operator_control_config other_4 = enabled_config({as_independent("I")}, {4});
    const operator_control_config other_none = enabled_config({as_independent("I")});
    struct {
        std::vector<operator_control_config> configs;
        numbers shared;
    } const cases[] = {
        {{main_1}, {1}},
        {{main_1, main_2}, {2}},
        {{main_1, other_3}, {1}},
        {{other_3, main_1}, {1}},
        {{other_3, other_4}, {4}},
        {{other_3, other_none}, {3}},
        {{main_1, main_none}, {1}},
        {{main_none, other_3}, {3}},
        {{other_3, main_none, other_4}, {4}},
        {{main_1, other_3, main_2, other_4}, {2}},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(merge_discovered_configs(cases[i].configs).shared_function_ids, cases[i].shared)
            << i;
}

TEST(merge_discovered_configs, gives_a_lone_backup_to_a_lone_main) {
    struct {
        std::vector<operator_control_system> systems;
        std::vector<std::string> backup_for;
    } const cases[] = {
        {{as_main("M"), as_backup("B", "")}, {"", "M"}},
        {{as_main("M"), as_independent("I"), as_backup("B", "")}, {"", "", "M"}},
        {{as_main("M"), as_backup("B", "X")}, {"", "X"}},
        {{as_main("M"), as_main("N"), as_backup("B", "")}, {"", "", ""}},
        {{as_main("M"), as_backup("A", ""), as_backup("B", "")}, {"", "", ""}},
        {{as_backup("B", "")}, {""}},
        {{as_main("M"), as_independent("I")}, {"", ""}},
    };
    for (const auto& [systems, backup_for] : cases) {
        std::vector<std::string> found;
        for (const auto& system : merge_discovered_configs({enabled_config(systems)}).systems)
            found.push_back(system.backup_for_serial);
        EXPECT_EQ(found, backup_for);
    }
}

TEST(merge_discovered_configs, completes_a_pair_that_two_servers_know_one_half_each_of) {
    const operator_control_config merged = merge_discovered_configs(
        {enabled_config({as_backup("B", "")}), enabled_config({as_main("M")})});
    ASSERT_EQ(merged.systems.size(), 2U);
    EXPECT_EQ(merged.systems[0].backup_for_serial, "M");
}

TEST(merge_discovered_configs, leaves_half_of_its_room_to_systems_with_a_role) {
    for (const auto& crowd : {strangers(4000), strangers(400, 4000)}) {
        operator_control_system main = as_main("M");
        main.workstation_name.assign(4096, 'm');
        const operator_control_config merged = merge_discovered_configs(
            {enabled_config(crowd), enabled_config({main, as_backup("B", "M")})});
        EXPECT_LE(merged.systems.size(), most_pairing_systems / 2 + 2);
        EXPECT_LE(text_bytes(merged), most_pairing_text / 2 + 4096 + 10);
        ASSERT_GE(merged.systems.size(), 100U) << "the first strangers have their half";
        EXPECT_EQ(merged.systems[merged.systems.size() - 2].workstation_name,
                  main.workstation_name);
        EXPECT_EQ(merged.systems.back().serial, "B");
    }
}

TEST(merge_discovered_configs, is_bounded_for_systems_with_a_role_too) {
    std::vector<operator_control_system> mains;
    for (std::size_t i = 0; i < most_pairing_systems + 1; ++i)
        mains.push_back(as_main(std::to_string(i)));
    EXPECT_EQ(merge_discovered_configs({enabled_config(mains)}).systems.size(),
              most_pairing_systems);
    for (operator_control_system& main : mains)
        main.workstation_name.assign(4000, 'm');
    const operator_control_config merged = merge_discovered_configs({enabled_config(mains)});
    EXPECT_LE(text_bytes(merged), most_pairing_text);
    EXPECT_GT(text_bytes(merged), most_pairing_text - 4100);
}

TEST(merge_discovered_configs, grows_no_text_beyond_its_bound) {
    std::vector<operator_control_system> mains;
    for (std::size_t i = 0; i < 2000; ++i)
        mains.push_back(as_main(std::to_string(i)));
    std::vector<operator_control_system> later = mains;
    for (operator_control_system& main : later)
        main.address.assign(4000, 'a');
    const operator_control_config merged =
        merge_discovered_configs({enabled_config(mains), enabled_config(later)});
    EXPECT_EQ(merged.systems.size(), 2000U);
    EXPECT_LE(text_bytes(merged), most_pairing_text);
    EXPECT_EQ(merged.systems.front().address.size(), 4000U);
    EXPECT_TRUE(merged.systems.back().address.empty());
}
