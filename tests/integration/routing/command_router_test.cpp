#include "routing/command_router.hpp"

#include "integration/support/captured_output.hpp"
#include "integration/support/datagram_receiver.hpp"

#include <gtest/gtest.h>

#include <mutex>
#include <thread>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

const steady_time seen{1h};

// Each server on an address of its own, so that a delivery tells whose it was. Nobody needs to
// listen: that the local socket took the datagram is all that is told.
discovered_server found(const std::string& serial, const std::string& address) {
    return {.address = address, .webPort = 5000, .workstation = "W" + serial, .serial = serial};
}

// Main M with its Backup B, an Independent I, all online; function 3 is shared.
class pair_of_servers {
public:
    pair_of_servers() {
        only_online({"M", "B", "I"});
        registry.configure(true, "M", "B");
        registry.set_shared_function_ids({3});
    }
    void only_online(const std::set<std::string>& serials) {
        const std::vector<discovered_server> all = {
            found("M", "127.0.0.2"), found("B", "127.0.0.3"), found("I", "127.0.0.4")};
        std::vector<discovered_server> answering;
        for (const discovered_server& server : all)
            if (serials.contains(server.serial)) answering.push_back(server);
        registry.merge_discovered(all, seen);
        registry.merge_discovered(answering, seen + 100s);
    }

    controller_registry registry{"unused.json"};
};

delivery_target target_at(const std::string& address, std::uint16_t port) {
    delivery_target target;
    target.role = system_role::main;
    target.address = address;
    target.control_port = port;
    return target;
}

} // namespace

TEST(udp_send_command, sends_the_payload_as_one_datagram_just_as_it_stands) {
    datagram_receiver receiver;
    ASSERT_TRUE(receiver.bound());
    for (const std::string& payload :
         {std::string("x"), std::string("a\0b\r\n", 5), std::string("{\"k\":1}"),
          std::string(60'000, 'z'), std::string("\xff\xfe\x00", 3)}) {
        const delivery_result result =
            udp_send_command(target_at("127.0.0.1", receiver.port()), payload);
        EXPECT_TRUE(result.attempted);
        EXPECT_TRUE(result.sent);
        EXPECT_EQ(result.error, "");
        EXPECT_EQ(result.role, system_role::main);
        EXPECT_EQ(receiver.next(), payload);
    }
}

TEST(udp_send_command, sends_nothing_to_a_disabled_target) {
    delivery_target target = target_at("not an address", 9);
    target.enabled = false;
    target.role = system_role::backup;
    const delivery_result result = udp_send_command(target, "x");
    EXPECT_EQ(result.role, system_role::backup);
    EXPECT_FALSE(result.attempted);
    EXPECT_FALSE(result.sent);
    EXPECT_EQ(result.error, "");
}

TEST(udp_send_command, resolves_no_host_name) {
    for (const std::string address :
         {"localhost", "media-server-1", "", "127.0.0", "127.0.0.256", "127.0.0.1 ", "::1"}) {
        const delivery_result result = udp_send_command(target_at(address, 9), "x");
        EXPECT_TRUE(result.attempted) << address;
        EXPECT_FALSE(result.sent) << address;
        EXPECT_EQ(result.error, "Invalid IPv4 address: " + address);
    }
}

TEST(udp_send_command, fails_for_a_payload_that_one_datagram_cannot_carry) {
    datagram_receiver receiver;
    const delivery_target target = target_at("127.0.0.1", receiver.port());
    EXPECT_TRUE(udp_send_command(target, std::string(65'507, 'x')).sent);
    const delivery_result result = udp_send_command(target, std::string(65'508, 'x'));
    EXPECT_TRUE(result.attempted);
    EXPECT_FALSE(result.sent);
    EXPECT_EQ(result.error, "UDP send failed");
}

TEST(route_streamdeck, chooses_its_receivers_by_role_online_and_the_shared_set) {
    using enum system_role;
    struct route_case {
        std::string target;
        std::int32_t function;
        std::set<std::string> online;
        std::vector<system_role> receivers;
    };
    const std::vector<route_case> cases = {
        {"", 4, {"M", "B"}, {main}},
        {"", 4, {"M"}, {main}},
        {"", 4, {"B"}, {}},
        {"", 4, {}, {}},
        {"", 3, {"M", "B"}, {main, backup}},
        {"", 3, {"M"}, {main}},
        {"", 3, {"B"}, {backup}},
        {"", 3, {}, {}},
        {"M", 3, {"M", "B"}, {main, backup}},
        {"M", 4, {"M", "B"}, {main}},
        {"B", 3, {"M", "B"}, {backup}},
        {"B", 4, {"M", "B"}, {backup}},
        {"B", 3, {"M"}, {}},
        {"I", 3, {"M", "B", "I"}, {independent}},
        {"I", 4, {"I"}, {independent}},
        {"I", 3, {"M", "B"}, {}},
        {"unknown", 3, {"M", "B"}, {}},
        {"m", 3, {"M", "B"}, {}},
    };
    for (const route_case& each : cases) {
        pair_of_servers pair;
        pair.only_online(each.online);
        command_router router(pair.registry);
        const captured_output silenced;
        const fanout_result result = router.route_streamdeck(each.function, each.target, "x");
        std::vector<system_role> receivers;
        for (const delivery_result& delivery : result.deliveries) {
            EXPECT_TRUE(delivery.attempted);
            EXPECT_TRUE(delivery.sent) << delivery.error;
            receivers.push_back(delivery.role);
        }
        EXPECT_EQ(receivers, each.receivers)
            << each.target << ' ' << each.function << ' ' << each.online.size();
    }
}

TEST(route_streamdeck, writes_where_the_command_goes) {
    struct log_case {
        std::string target;
        std::int32_t function;
        std::set<std::string> online;
        std::string lines;
    };
    const std::string to_main = "[route] Main -> 127.0.0.2:1256 serial=M\n";
    const std::string to_backup = "[route] Backup -> 127.0.0.3:1256 serial=B\n";
    const std::vector<log_case> cases = {
        {"", 4, {"M", "B"}, to_main},
        {"", 3, {"M", "B"}, to_main + to_backup},
        {"", 3, {"M"}, to_main + "[route] Backup unavailable for Main M\n"},
        {"", 3, {"B"}, "[route] Main offline -> M\n" + to_backup},
        {"", 3, {}, "[route] Main offline -> M\n[route] Backup unavailable for Main M\n"},
        {"", 4, {}, "[route] Main offline -> M\n"},
        {"I",
         3,
         {"I"},
         "[route] Main -> 127.0.0.4:1256 serial=I\n[route] Backup unavailable for Main I\n"},
        {"B",
         3,
         {"B"},
         "[route] Main -> 127.0.0.3:1256 serial=B\n[route] Backup unavailable for Main B\n"},
        {"unknown", 3, {"M", "B"}, ""},
    };
    for (const log_case& each : cases) {
        pair_of_servers pair;
        pair.only_online(each.online);
        command_router router(pair.registry);
        const captured_output output;
        router.route_streamdeck(each.function, each.target, "x");
        EXPECT_EQ(output.text(), each.lines);
    }
}

TEST(route_streamdeck, finds_nobody_without_a_main) {
    controller_registry registry("unused.json");
    registry.merge_discovered({found("I", "127.0.0.4")}, seen);
    command_router router(registry);
    const captured_output output;
    EXPECT_TRUE(router.route_streamdeck(3, "", "x").deliveries.empty());
    EXPECT_EQ(output.text(), "");
}

TEST(route_streamdeck, mirrors_to_no_backup_of_another_main) {
    pair_of_servers pair;
    pair.registry.set_role("B", system_role::backup, "other");
    command_router router(pair.registry);
    const captured_output silenced;
    EXPECT_EQ(router.route_streamdeck(3, "", "x").deliveries.size(), 1U);
}

TEST(route_streamdeck, looks_at_neither_the_active_server_nor_at_readiness) {
    pair_of_servers pair;
    pair.registry.set_online("M", true, seen);
    pair.registry.set_online("B", true, seen);
    pair.registry.set_active_override(true, "B");
    ASSERT_EQ(pair.registry.active_role(), "backup");
    command_router router(pair.registry);
    const captured_output silenced;
    const fanout_result result = router.route_streamdeck(4, "", "x");
    ASSERT_EQ(result.deliveries.size(), 1U);
    EXPECT_EQ(result.deliveries[0].role, system_role::main);
}

TEST(route_streamdeck, numbers_every_command_whatever_becomes_of_it) {
    pair_of_servers pair;
    command_router router(pair.registry);
    const captured_output silenced;
    EXPECT_EQ(router.route_streamdeck(3, "", "x").sequence, 1U);
    EXPECT_EQ(router.route_streamdeck(3, "unknown", "x").sequence, 2U);
    pair.only_online({});
    EXPECT_EQ(router.route_streamdeck(4, "", "x").sequence, 3U);
    const fanout_result result = router.route_streamdeck(-7, "", std::string("a\0b", 3));
    EXPECT_EQ(result.sequence, 4U);
    EXPECT_EQ(result.payload, std::string("a\0b", 3));
}

TEST(route_streamdeck, follows_the_shared_set_with_the_next_command) {
    pair_of_servers pair;
    command_router router(pair.registry);
    const captured_output silenced;
    EXPECT_EQ(router.route_streamdeck(4, "", "x").deliveries.size(), 1U);
    pair.registry.set_shared_function_ids({4, -7});
    EXPECT_EQ(router.route_streamdeck(4, "", "x").deliveries.size(), 2U);
    EXPECT_EQ(router.route_streamdeck(-7, "", "x").deliveries.size(), 2U);
    EXPECT_EQ(router.route_streamdeck(3, "", "x").deliveries.size(), 1U);
}

TEST(route_streamdeck, tells_of_each_delivery_by_itself) {
    pair_of_servers pair;
    pair.registry.merge_discovered({found("M", "main.example")}, seen + 100s);
    command_router router(pair.registry);
    const captured_output silenced;
    const fanout_result result = router.route_streamdeck(3, "", "x");
    ASSERT_EQ(result.deliveries.size(), 2U);
    EXPECT_TRUE(result.deliveries[0].attempted);
    EXPECT_FALSE(result.deliveries[0].sent);
    EXPECT_EQ(result.deliveries[0].error, "Invalid IPv4 address: main.example");
    EXPECT_TRUE(result.deliveries[1].sent);
}

TEST(route_streamdeck, gives_each_command_its_own_number_on_any_thread) {
    controller_registry registry("unused.json");
    command_router router(registry);
    std::mutex lock;
    std::set<std::uint64_t> numbers;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int j = 0; j < 250; ++j) {
                const std::uint64_t number = router.route_streamdeck(3, "", "x").sequence;
                const std::lock_guard guard(lock);
                numbers.insert(number);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(numbers.size(), 1000U);
    EXPECT_EQ(*numbers.rbegin(), 1000U);
}
