#include "os/sockets.hpp"

#include "integration/support/datagram_receiver.hpp"
#include "integration/support/loopback_client.hpp"
#include "integration/support/scripted_peer.hpp"
#include "os/clock.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

constexpr milliseconds ample = 60s;

socket_handle connect_to(std::uint16_t port) {
    const auto addresses = resolve_address("127.0.0.1", port, address_family::ipv4, transport::tcp);
    return addresses.empty() ? socket_handle() : connect_socket(addresses.front(), ample);
}

} // namespace

TEST(socket_runtime, nests_inside_another) {
    {
        const socket_runtime inner;
        EXPECT_TRUE(inner.started());
    }
    EXPECT_TRUE(open_datagram_socket().valid());
}

TEST(graver_of,
     lets_a_silent_address_outweigh_a_lost_network_and_a_lack_of_resources_outweigh_both) {
    const std::vector<network_failure> ascending{network_failure::none, network_failure::no_network,
                                                 network_failure::unanswered,
                                                 network_failure::no_resources};
    for (std::size_t one = 0; one < ascending.size(); ++one)
        for (std::size_t other = 0; other < ascending.size(); ++other)
            EXPECT_EQ(graver_of(ascending[one], ascending[other]), ascending[std::max(one, other)]);
}

TEST(socket_handle, closes_what_it_owns_and_hands_it_over_when_moved) {
    EXPECT_FALSE(socket_handle().valid());
    socket_handle listener = listen_on_loopback(0, 1);
    ASSERT_TRUE(listener.valid());
    const std::uint16_t port = bound_port(listener);
    socket_handle taken(std::move(listener));
    EXPECT_FALSE(listener.valid());
    EXPECT_TRUE(knock_on_loopback(port, ample));
    taken = socket_handle();
    EXPECT_FALSE(knock_on_loopback(port, ample));
    taken.close();
    EXPECT_FALSE(taken.valid());
}

TEST(listen_on_loopback, takes_a_port_of_the_systems_choice_for_port_0) {
    const socket_handle first = listen_on_loopback(0, 1);
    const socket_handle second = listen_on_loopback(0, 1);
    EXPECT_NE(bound_port(first), 0);
    EXPECT_NE(bound_port(first), bound_port(second));
}

TEST(listen_on_loopback, fails_on_a_port_that_is_taken) {
    const socket_handle first = listen_on_loopback(0, 4);
    EXPECT_FALSE(listen_on_loopback(bound_port(first), 4).valid());
    EXPECT_TRUE(knock_on_loopback(bound_port(first), ample));
}

TEST(listen_on_loopback, takes_a_port_again_that_was_just_released_with_connections_on_it) {
    socket_handle first = listen_on_loopback(0, 4);
    const std::uint16_t port = bound_port(first);
    socket_handle client = connect_to(port);
    ASSERT_TRUE(wait_readable(first, ample));
    socket_handle served = accept_connection(first);
    // The side that closes first keeps the port waiting for a while.
    served.close();
    first.close();
    client.close();
    const socket_handle again = listen_on_loopback(port, 4);
    EXPECT_TRUE(again.valid());
    EXPECT_EQ(bound_port(again), port);
}

TEST(bound_port, is_0_for_no_socket) {
    EXPECT_EQ(bound_port(socket_handle()), 0);
}

TEST(accept_connection, gives_the_connection_that_waits_and_none_where_nobody_does) {
    const socket_handle listener = listen_on_loopback(0, 4);
    EXPECT_FALSE(accept_connection(listener).valid());
    const socket_handle client = connect_to(bound_port(listener));
    ASSERT_TRUE(wait_readable(listener, ample));
    const socket_handle served = accept_connection(listener);
    ASSERT_TRUE(served.valid());
    EXPECT_EQ(send_some(client, "hello", ample), 5U);
    std::array<char, 16> buffer{};
    EXPECT_EQ(receive_some(served, buffer, ample), 5U);
    EXPECT_EQ(std::string(buffer.data(), 5), "hello");
}

TEST(wait_any_readable, finds_those_of_hundreds_that_can_be_read) {
    const socket_handle listener = listen_on_loopback(0, 4);
    std::vector<socket_handle> sockets;
    std::vector<socket_handle> peers;
    std::vector<const socket_handle*> watched;
    for (int i = 0; i < 300; ++i) {
        sockets.push_back(connect_to(bound_port(listener)));
        ASSERT_TRUE(wait_readable(listener, ample));
        peers.push_back(accept_connection(listener));
    }
    for (const socket_handle& socket : sockets)
        watched.push_back(&socket);
    EXPECT_TRUE(wait_any_readable(watched, 0ms).empty());
    EXPECT_TRUE(wait_any_readable(watched, 20ms).empty());
    EXPECT_EQ(send_some(peers[270], "x", ample), 1U);
    EXPECT_EQ(wait_any_readable(watched, ample), std::vector<std::size_t>{270});
    peers[130].close(); // an end can be read as well
    ASSERT_TRUE(wait_readable(sockets[130], ample));
    EXPECT_EQ(wait_any_readable(watched, ample), (std::vector<std::size_t>{130, 270}));
}

TEST(connect_socket, fails_where_nobody_listens) {
    EXPECT_FALSE(connect_to(closed_port()).valid());
}

TEST(receive_some, gives_0_for_a_time_out_an_end_and_a_reset) {
    std::array<char, 16> buffer{};
    const socket_handle listener = listen_on_loopback(0, 4);
    const socket_handle client = connect_to(bound_port(listener));
    ASSERT_TRUE(wait_readable(listener, ample));
    socket_handle served = accept_connection(listener);
    EXPECT_FALSE(wait_readable(client, 0ms));
    EXPECT_EQ(receive_some(client, buffer, 20ms), 0U);
    served.close();
    EXPECT_TRUE(wait_readable(client, ample));
    EXPECT_EQ(receive_some(client, buffer, ample), 0U);

    const socket_handle reset_client = connect_to(bound_port(listener));
    ASSERT_TRUE(wait_readable(listener, ample));
    socket_handle unread = accept_connection(listener);
    EXPECT_EQ(send_some(reset_client, "never read", ample), 10U);
    ASSERT_TRUE(wait_readable(unread, ample));
    unread.close();
    EXPECT_EQ(receive_some(reset_client, buffer, ample), 0U);
}

TEST(receive_some, waits_for_its_whole_time_out) {
    std::array<char, 16> buffer{};
    const socket_handle listener = listen_on_loopback(0, 4);
    const socket_handle client = connect_to(bound_port(listener));
    const steady_time start = steady_now();
    EXPECT_EQ(receive_some(client, buffer, 100ms), 0U);
    EXPECT_GE(steady_now() - start, 90ms);
}

TEST(receive_some, hands_on_what_has_come_before_the_end) {
    scripted_peer peer([](peer_connection& connection) { connection.send("last words"); });
    loopback_client client(peer.port());
    EXPECT_EQ(client.read_to_end(), "last words");
}

TEST(send_some, takes_no_more_than_there_is_room_for_and_then_gives_0) {
    const socket_handle listener = listen_on_loopback(0, 4);
    const socket_handle client = connect_to(bound_port(listener));
    ASSERT_TRUE(wait_readable(listener, ample));
    const socket_handle served = accept_connection(listener);
    const std::string much(1'000'000, 'x');
    std::size_t taken = 0;
    for (int i = 0; i < 1000; ++i) {
        const std::size_t sent = send_some(client, much, 20ms);
        taken += sent;
        if (sent == 0) break;
    }
    EXPECT_GT(taken, 0U);
    EXPECT_LT(taken, 1000 * much.size());
    EXPECT_FALSE(wait_writable(client, 0ms));
}

TEST(send_some, survives_a_peer_that_has_gone) {
    const socket_handle listener = listen_on_loopback(0, 4);
    const socket_handle client = connect_to(bound_port(listener));
    ASSERT_TRUE(wait_readable(listener, ample));
    accept_connection(listener).close();
    ASSERT_TRUE(wait_readable(client, ample));
    const std::string much(100'000, 'x');
    std::size_t last = 1;
    for (int i = 0; i < 1000 && last != 0; ++i)
        last = send_some(client, much, ample);
    EXPECT_EQ(last, 0U);
}

TEST(resolve_address, gives_a_dotted_address_in_either_family_request_and_each_transport) {
    for (const address_family family : {address_family::ipv4, address_family::any})
        for (const transport kind : {transport::tcp, transport::udp})
            EXPECT_EQ(resolve_address("127.0.0.1", 80, family, kind).size(), 1U);
}

TEST(resolve_address, keeps_to_the_family_that_is_asked_for) {
    EXPECT_TRUE(resolve_address("::1", 80, address_family::ipv4, transport::tcp).empty());
    EXPECT_EQ(resolve_address("::1", 80, address_family::any, transport::tcp).size(), 1U);
}

TEST(resolve_address, is_empty_for_what_cannot_be_a_name) {
    EXPECT_TRUE(resolve_address("a..b", 80, address_family::any, transport::tcp).empty());
}

TEST(ipv4_address, takes_dotted_addresses_alone) {
    for (const std::string text : {"0.0.0.0", "10.0.0.5", "255.255.255.255"})
        EXPECT_TRUE(ipv4_address(text, 1)) << text;
    for (const std::string text : {"", "10.0.0", "10.0.0.256", "10.0.0.5.6", "localhost", "::1",
                                   "10.0.0.5 ", " 10.0.0.5", "0x0a.0.0.5"})
        EXPECT_FALSE(ipv4_address(text, 1)) << text;
}

TEST(dotted_text, writes_the_address_in_host_byte_order) {
    EXPECT_EQ(dotted_text(0x0A000105), "10.0.1.5");
    EXPECT_EQ(dotted_text(0), "0.0.0.0");
    EXPECT_EQ(dotted_text(0xFFFFFFFF), "255.255.255.255");
}

TEST(receive_datagram, tells_the_sender_and_cuts_to_the_buffer) {
    const broadcast_socket receiver = open_broadcast_socket();
    ASSERT_EQ(receiver.failure, broadcast_failure::none);
    const auto to = ipv4_address("127.0.0.1", bound_port(receiver.socket));
    ASSERT_TRUE(to);
    const socket_handle sender = open_datagram_socket();
    std::array<char, 4> buffer{};
    for (const std::string bytes : {"ab", "abcd", "abcdef", ""}) {
        ASSERT_TRUE(send_datagram(sender, *to, bytes)) << bytes;
        const auto datagram = receive_datagram(receiver.socket, buffer, ample);
        ASSERT_TRUE(datagram) << bytes;
        EXPECT_EQ(std::string(buffer.data(), datagram->size), bytes.substr(0, 4));
        EXPECT_EQ(datagram->sender, 0x7F000001U);
    }
    EXPECT_FALSE(receive_datagram(receiver.socket, buffer, 0ms));
}

TEST(open_broadcast_socket, takes_a_fresh_port_each_time) {
    const broadcast_socket first = open_broadcast_socket();
    const broadcast_socket second = open_broadcast_socket();
    EXPECT_NE(bound_port(first.socket), 0);
    EXPECT_NE(bound_port(first.socket), bound_port(second.socket));
}

TEST(knock_on_loopback, tells_whether_somebody_listens) {
    socket_handle listener = listen_on_loopback(0, 4);
    const std::uint16_t port = bound_port(listener);
    EXPECT_TRUE(knock_on_loopback(port, ample));
    listener.close();
    EXPECT_FALSE(knock_on_loopback(port, ample));
}

TEST(own_address_towards, is_this_computers_own_on_the_way) {
    const socket_runtime runtime;
    const auto address = ipv4_address("127.0.0.1", 9);
    ASSERT_TRUE(address);
    EXPECT_EQ(own_address_towards(*address), 0x7F000001U);
}
