#include "systems/known_systems.hpp"

#include "unit/systems/registry_setups.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

system_record record(const std::string& serial, const std::string& address = "10.0.0.1") {
    system_record system;
    system.serial = serial;
    system.address = address;
    system.online = true;
    system.lastSeen = first_round;
    return system;
}

std::vector<system_record> crowd(std::size_t count, const std::string& address = "10.0.0.66") {
    std::vector<system_record> systems;
    for (std::size_t i = 0; i < count; ++i)
        systems.push_back(record("X" + std::to_string(i), address));
    return systems;
}

bool holds(const std::vector<system_record>& systems, const std::string& serial) {
    return std::ranges::find(systems, serial, &system_record::serial) != systems.end();
}

} // namespace

TEST(cut_network_text, keeps_what_fits_and_cuts_at_a_whole_character) {
    struct {
        std::string text;
        std::size_t longest;
        std::string cut;
    } const cases[] = {
        {"", 0, ""},
        {"abc", 3, "abc"},
        {"abcd", 3, "abc"},
        {"ab\xC3\xA9", 4, "ab\xC3\xA9"},
        {"ab\xC3\xA9z", 4, "ab\xC3\xA9"},
        {"ab\xC3\xA9z", 3, "ab"},
        {"a\xF0\x9F\x98\x80", 4, "a"},
        {"a\xF0\x9F\x98\x80z", 5, "a\xF0\x9F\x98\x80"},
        {"\xF0\x9F\x98\x80", 3, ""},
        {"\x80\x80\x80\x80\x80\x80", 4, "\x80\x80\x80\x80"},
    };
    for (const auto& [text, longest, cut] : cases)
        EXPECT_EQ(cut_network_text(text, longest), cut) << text << ' ' << longest;
    EXPECT_EQ(cut_network_text(std::string(5000, 'x')).size(), 4096U);
}

TEST(keep_known_systems_bounded, drops_none_while_the_bounds_hold) {
    std::vector<system_record> systems = crowd(1024);
    EXPECT_FALSE(keep_known_systems_bounded(systems));
    EXPECT_EQ(systems.size(), 1024U);
    EXPECT_EQ(systems[1023].serial, "X1023");
}

TEST(keep_known_systems_bounded, drops_one_beyond_1024_and_keeps_the_order) {
    std::vector<system_record> systems = crowd(1025);
    EXPECT_TRUE(keep_known_systems_bounded(systems));
    ASSERT_EQ(systems.size(), 1024U);
    EXPECT_EQ(systems[0].serial, "X0");
    EXPECT_EQ(systems[1023].serial, "X1023");
}

TEST(keep_known_systems_bounded, keeps_whoever_is_worth_more) {
    struct {
        const char* what;
        void (*raise)(system_record&);
        void (*lower_the_crowd)(system_record&);
    } const cases[] = {
        {"Main",
         [](auto& s) {
             s.role = system_role::main;
             s.online = false;
         },
         [](auto&) {}},
        {"Backup",
         [](auto& s) {
             s.role = system_role::backup;
             s.online = false;
         },
         [](auto&) {}},
        {"heard lately", [](auto&) {}, [](auto& s) { s.online = false; }},
        {"confirmed", [](auto& s) { s.uiReady = true; }, [](auto&) {}},
        {"alone at its address", [](auto& s) { s.address = "10.0.0.1"; }, [](auto&) {}},
        {"heard later",
         [](auto& s) {
             s.address = "10.0.0.67";
             s.lastSeen += 1s;
         },
         [](auto& s) { s.address = "10.0.0." + s.serial; }},
    };
    for (const auto& [what, raise, lower] : cases) {
        std::vector<system_record> systems = crowd(1024);
        for (system_record& system : systems)
            lower(system);
        systems.push_back(record("REAL", "10.0.0.66"));
        raise(systems.back());
        EXPECT_TRUE(keep_known_systems_bounded(systems)) << what;
        EXPECT_EQ(systems.size(), 1024U) << what;
        EXPECT_TRUE(holds(systems, "REAL")) << what;
    }
}

TEST(keep_known_systems_bounded, keeps_the_pair_ahead_of_other_roles) {
    std::vector<system_record> systems;
    systems.push_back(record("M"));
    systems.back().role = system_role::main;
    for (system_record other : crowd(2000)) {
        other.role = system_role::backup;
        other.backupForSerial = "other";
        systems.push_back(other);
    }
    systems.push_back(record("B"));
    systems.back().role = system_role::backup;
    systems.back().backupForSerial = "M";
    systems.back().online = false;
    EXPECT_TRUE(keep_known_systems_bounded(systems));
    EXPECT_EQ(systems.size(), 1024U);
    EXPECT_EQ(systems.front().serial, "M");
    EXPECT_EQ(systems.back().serial, "B");
}

TEST(keep_known_systems_bounded, holds_all_texts_together_below_their_bound) {
    std::vector<system_record> systems = crowd(600, "10.0.0.66");
    for (system_record& system : systems)
        system.workstation = std::string(4096, 'x');
    systems.push_back(record("REAL", "10.0.0.1"));
    systems.back().role = system_role::main;
    systems.back().replicationEventTitle = std::string(4096, 'x');
    EXPECT_TRUE(keep_known_systems_bounded(systems));
    std::size_t bytes = 0;
    for (const system_record& system : systems)
        bytes += text_size(system);
    EXPECT_LE(bytes, most_known_text);
    EXPECT_GT(bytes, most_known_text - 8192);
    EXPECT_EQ(systems.back().serial, "REAL");
}

TEST(merge_discovered, holds_1024_systems_and_finds_room_for_a_real_server) {
    const auto registry = paired_registry();
    std::vector<discovered_server> flood;
    for (int i = 0; i < 20'000; ++i)
        flood.push_back(answer_of("X" + std::to_string(i), "10.0.0.66"));
    registry->merge_discovered(flood, first_round + 1s);
    EXPECT_EQ(registry->systems().size(), most_known_systems);
    flood.push_back(answer_of("REAL", "10.0.0.9"));
    registry->merge_discovered(flood, first_round + 2s);
    EXPECT_EQ(registry->systems().size(), most_known_systems);
    for (const char* const serial : {"M", "B", "REAL"})
        EXPECT_TRUE(registry->find_system(serial)) << serial;
    EXPECT_EQ(registry->systems()[1].serial, "M") << "the order stays";
}

TEST(merge_discovered, renews_known_servers_in_a_flood) {
    const auto registry = paired_registry();
    std::vector<discovered_server> flood;
    for (int i = 0; i < 20'000; ++i)
        flood.push_back(answer_of("X" + std::to_string(i), "10.0.0.1"));
    flood.push_back(answer_of("M", "10.0.0.1"));
    registry->merge_discovered(flood, first_round + 5s);
    EXPECT_EQ(registry->find_system("M")->lastSeen, first_round + 5s);
}

TEST(import_config, is_bounded_and_keeps_the_pair) {
    const auto registry = empty_registry();
    operator_control_config config{.enabled = true, .systems = {}, .shared_function_ids = {}};
    for (int i = 0; i < 4000; ++i)
        config.systems.push_back(
            member_of_pairing("X" + std::to_string(i), system_role::independent));
    config.systems.push_back(member_of_pairing("M", system_role::main));
    config.systems.push_back(member_of_pairing("B", system_role::backup, "M"));
    registry->import_config(config);
    EXPECT_EQ(registry->systems().size(), most_known_systems);
    EXPECT_TRUE(registry->has_pair());
    EXPECT_TRUE(registry->controller_configured());
}

TEST(registry_text, stays_below_what_is_read_back_in_the_worst_case) {
    const auto registry = empty_registry();
    std::vector<discovered_server> flood;
    for (int i = 0; i < 3000; ++i) {
        flood.push_back(answer_of("X" + std::to_string(i), "10.0.0." + std::to_string(i)));
        flood.back().workstation = std::string(2000, '\x01');
    }
    registry->merge_discovered(flood, first_round);
    replication_status status;
    status.event_title = std::string(4096, '\x01');
    status.last_error = status.event_title;
    for (const system_record& system : registry->systems())
        registry->set_replication(system.serial, status);
    const std::string text = registry->to_json();
    EXPECT_LT(text.size(), 8U * 1024 * 1024);
    EXPECT_GT(text.size(), 5U * 1024 * 1024) << "the case is hardly the worst";
}

TEST(set_replication, leaves_title_and_error_out_where_there_is_no_room_for_them) {
    const auto registry = empty_registry();
    std::vector<discovered_server> flood;
    for (int i = 0; i < 511; ++i) {
        flood.push_back(answer_of("X" + std::to_string(i), "10.0.0.1"));
        flood.back().workstation = std::string(2040, 'x');
    }
    registry->merge_discovered(flood, first_round);
    replication_status status;
    status.revision = 7;
    status.event_title = std::string(4096, 'x');
    registry->set_replication("X0", status);
    EXPECT_EQ(registry->find_system("X0")->replicationRevision, 7);
    EXPECT_EQ(registry->find_system("X0")->replicationEventTitle, "");
    status.event_title = "Gala";
    registry->set_replication("X0", status);
    EXPECT_EQ(registry->find_system("X0")->replicationEventTitle, "Gala");
}

TEST(read_registry_json, drops_what_an_older_version_let_in) {
    const auto element = [](const std::string& serial, const std::string& role) {
        return R"({"serial":")" + serial + R"(","workstation":")" + std::string(6000, 'x') +
               R"(","address":"10.0.0.66","role":")" + role + "\"}";
    };
    std::string text = R"({"systems":[)" + element("M", "Main");
    for (int i = 0; i < 5000; ++i)
        text += ',' + element("X" + std::to_string(i), "Independent");
    text += ',' + element("B", "Backup");
    text.insert(text.size() - 1, R"(,"backupForSerial":"M")");
    registry_state state;
    read_registry_json(text + "]}", state);
    EXPECT_LE(state.systems.size(), most_known_systems);
    EXPECT_EQ(state.systems.front().serial, "M");
    EXPECT_EQ(state.systems.front().workstation.size(), longest_network_text);
    EXPECT_EQ(state.systems.back().serial, "B");
    EXPECT_TRUE(state.controllerConfigured);
}
