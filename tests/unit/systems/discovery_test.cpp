#include "systems/discovery.hpp"

#include <gtest/gtest.h>

#include <algorithm>

using namespace elvantris::operator_control;

namespace {

using addresses = std::vector<std::uint32_t>;

constexpr std::uint32_t everybody = 0xFFFFFFFF;
constexpr std::uint32_t sender = 0x0A000007; // 10.0.0.7

constexpr std::uint32_t ipv4(std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
    return a << 24U | b << 16U | c << 8U | d;
}

interface_address wired(std::uint32_t address, std::uint32_t prefix_length) {
    return {.up = true, .loopback = false, .address = address, .prefix_length = prefix_length};
}

discovered_server server(const std::string& serial, const std::string& address,
                         std::uint16_t port) {
    return {.address = address, .webPort = port, .workstation = "", .serial = serial};
}

} // namespace

TEST(broadcast_targets, are_the_limited_address_alone_without_a_usable_interface) {
    EXPECT_EQ(broadcast_targets(std::nullopt), addresses{everybody});
    EXPECT_EQ(broadcast_targets(std::vector<interface_address>{}), addresses{everybody});

    interface_address down = wired(ipv4(10, 0, 0, 1), 24);
    down.up = false;
    interface_address loopback = wired(ipv4(127, 0, 0, 1), 8);
    loopback.loopback = true;
    EXPECT_EQ(broadcast_targets({{down, loopback, wired(ipv4(10, 0, 0, 1), 33)}}),
              addresses{everybody});
}

TEST(broadcast_targets, fill_the_host_bits_of_each_address) {
    struct {
        std::uint32_t address;
        std::uint32_t prefix_length;
        std::uint32_t target;
    } const cases[] = {
        {ipv4(192, 168, 1, 20), 24, ipv4(192, 168, 1, 255)},
        {ipv4(192, 168, 1, 20), 32, ipv4(192, 168, 1, 20)},
        {ipv4(192, 168, 1, 20), 31, ipv4(192, 168, 1, 21)},
        {ipv4(192, 168, 1, 20), 30, ipv4(192, 168, 1, 23)},
        {ipv4(192, 168, 1, 20), 16, ipv4(192, 168, 255, 255)},
        {ipv4(10, 200, 3, 4), 9, ipv4(10, 255, 255, 255)},
        {ipv4(10, 100, 3, 4), 9, ipv4(10, 127, 255, 255)},
        {ipv4(10, 0, 0, 1), 1, ipv4(127, 255, 255, 255)},
    };
    for (const auto& [address, prefix_length, target] : cases)
        EXPECT_EQ(broadcast_targets({{wired(address, prefix_length)}}),
                  (addresses{everybody, target}))
            << prefix_length;
}

TEST(broadcast_targets, keep_the_order_of_first_appearance_without_repeats) {
    EXPECT_EQ(broadcast_targets({{wired(ipv4(192, 168, 1, 20), 24), wired(ipv4(10, 0, 0, 1), 8),
                                  wired(ipv4(192, 168, 1, 30), 24), wired(ipv4(10, 0, 0, 9), 0),
                                  wired(ipv4(10, 255, 255, 255), 32)}}),
              (addresses{everybody, ipv4(192, 168, 1, 255), ipv4(10, 255, 255, 255)}));
}

TEST(parse_discovery_reply, splits_the_fields_at_single_commas) {
    struct {
        std::string_view datagram;
        std::string workstation;
        std::string serial;
    } const cases[] = {
        {"elvantris-server!,5000", "", ""},
        {"elvantris-server!,5000,", "", ""},
        {"elvantris-server!,5000,WS1", "WS1", ""},
        {"elvantris-server!,5000,WS1,", "WS1", ""},
        {"elvantris-server!,5000,WS1,ABC", "WS1", "ABC"},
        {"elvantris-server!,5000,,ABC", "", "ABC"},
        {"elvantris-server!,5000,WS1,ABC,more,and more", "WS1", "ABC"},
        {"elvantris-server!,5000,,,ABC", "", ""},
        {"elvantris-server!anything,5000,WS1,ABC", "WS1", "ABC"},
        {"elvantris-server!, \t5000x, WS 1 ,A\xc3\xa9", " WS 1 ", "A\xc3\xa9"},
    };
    for (const auto& [datagram, workstation, serial] : cases) {
        const auto found = parse_discovery_reply(datagram, sender);
        ASSERT_TRUE(found) << datagram;
        EXPECT_EQ(found->address, "10.0.0.7") << datagram;
        EXPECT_EQ(found->webPort, 5000) << datagram;
        EXPECT_EQ(found->workstation, workstation) << datagram;
        EXPECT_EQ(found->serial, serial) << datagram;
    }
}

TEST(parse_discovery_reply, is_absent_for_a_datagram_that_is_no_answer) {
    for (const std::string_view datagram :
         {"", "elvantris-server", "elvantris-server!", "elvantris-server?",
          "elvantris-server?,5000", "Elvantris-server!,5000", " elvantris-server!,5000",
          "elvantris-server!,", "elvantris-server!5000", "elvantris-server!,,",
          "elvantris-server!,,WS1,ABC", "elvantris-server!,x", "elvantris-server!,x5000",
          "elvantris-server!,-1", "elvantris-server!,+5000", "elvantris-server!, ,WS1",
          "elvantris-server!,4294967296", "elvantris-server!,99999999999999999999"})
        EXPECT_FALSE(parse_discovery_reply(datagram, sender)) << datagram;
}

TEST(parse_discovery_reply, cuts_a_32_bit_port_to_16_bits) {
    struct {
        std::string_view datagram;
        std::uint16_t port;
    } const cases[] = {{"elvantris-server!,0", 0},
                       {"elvantris-server!,65535", 65535},
                       {"elvantris-server!,65536", 0},
                       {"elvantris-server!,70000", 4464},
                       {"elvantris-server!,4294967295", 65535}};
    for (const auto& [datagram, port] : cases) {
        const auto found = parse_discovery_reply(datagram, sender);
        ASSERT_TRUE(found) << datagram;
        EXPECT_EQ(found->webPort, port) << datagram;
    }
}

TEST(parse_discovery_reply, takes_no_answer_from_the_loopback_network) {
    constexpr std::string_view datagram = "elvantris-server!,5000,WS1,ABC";
    for (const std::uint32_t local :
         {ipv4(127, 0, 0, 0), ipv4(127, 0, 0, 1), ipv4(127, 255, 255, 255)})
        EXPECT_FALSE(parse_discovery_reply(datagram, local)) << local;
    EXPECT_EQ(parse_discovery_reply(datagram, ipv4(126, 255, 255, 255))->address,
              "126.255.255.255");
    EXPECT_EQ(parse_discovery_reply(datagram, ipv4(128, 0, 0, 0))->address, "128.0.0.0");
}

TEST(discovery_round, keeps_the_first_answer_of_each_serial) {
    discovery_round round;
    round.add(server("A", "10.0.0.1", 5000));
    round.add(server("B", "10.0.0.1", 5000));
    round.add(server("A", "10.1.0.1", 5001));
    const std::vector<discovered_server> servers = round.take();
    ASSERT_EQ(servers.size(), 2U);
    EXPECT_EQ(servers[0].serial, "A");
    EXPECT_EQ(servers[0].address, "10.0.0.1");
    EXPECT_EQ(servers[1].serial, "B");
}

TEST(discovery_round, tells_servers_without_serial_apart_by_address_and_port) {
    discovery_round round;
    round.add(server("", "10.0.0.1", 5000));
    round.add(server("", "10.0.0.1", 5001));
    round.add(server("", "10.0.0.2", 5000));
    round.add(server("", "10.0.0.1", 5000));
    round.add(server("10.0.0.2:5000", "10.0.0.9", 80));
    const std::vector<discovered_server> servers = round.take();
    ASSERT_EQ(servers.size(), 3U);
    EXPECT_EQ(servers[1].webPort, 5001);
    EXPECT_EQ(servers[2].address, "10.0.0.2");
}

TEST(discovery_round, holds_1024_unknown_servers_of_a_host_that_floods) {
    discovery_round round;
    for (int i = 0; i < 100'000; ++i)
        round.add(server("X" + std::to_string(i), "10.0.0.66", 5000));
    const std::vector<discovered_server> servers = round.take();
    ASSERT_EQ(servers.size(), 1024U);
    EXPECT_EQ(servers.front().serial, "X0");
    EXPECT_EQ(servers.back().serial, "X1023");
}

TEST(discovery_round, has_room_for_a_real_server_in_a_flood) {
    discovery_round round;
    for (int i = 0; i < 5'000; ++i)
        round.add(server("X" + std::to_string(i), "10.0.0." + std::to_string(66 + i % 3), 5000));
    for (int i = 0; i < 64; ++i)
        round.add(server("R" + std::to_string(i), "10.0.1." + std::to_string(i), 5000));
    for (int i = 5'000; i < 10'000; ++i)
        round.add(server("X" + std::to_string(i), "10.0.0.66", 5000));
    const std::vector<discovered_server> servers = round.take();
    ASSERT_EQ(servers.size(), 1024U);
    EXPECT_EQ(std::ranges::count_if(servers, [](const auto& s) { return s.serial[0] == 'R'; }), 64);
    EXPECT_EQ(servers.back().serial, "R63") << "the order of arrival stays";
}

TEST(discovery_round, admits_known_servers_whatever_else_has_come) {
    discovery_round round({"KNOWN"});
    for (int i = 0; i < 2'000; ++i)
        round.add(server("X" + std::to_string(i), "10.0.0.66", 5000));
    round.add(server("KNOWN", "10.0.0.66", 5000));
    round.add(server("KNOWN", "10.0.0.67", 5000));
    const std::vector<discovered_server> servers = round.take();
    ASSERT_EQ(servers.size(), 1025U);
    EXPECT_EQ(servers.back().address, "10.0.0.66");
}
