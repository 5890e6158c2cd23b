#include "protection/outbound_sending.hpp"

#include "integration/support/datagram_receiver.hpp"
#include "integration/support/scripted_peer.hpp"
#include "os/clock.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

constexpr milliseconds ample = 60s;
constexpr transport tcp = transport::tcp;
constexpr transport udp = transport::udp;

const std::string unresolved = "Destination could not be resolved.";
const std::string failed = "Connect/send failed or timed out; device execution is unconfirmed.";

// What a device receives on one connection until we hang up.
peer_script listens() {
    return [](peer_connection& connection) { connection.read_to_end(); };
}

std::vector<std::string> received_in_the_end(const scripted_peer& peer) {
    const steady_time deadline = steady_now() + ample;
    while (peer.received().empty() && steady_now() < deadline)
        std::this_thread::yield();
    return peer.received();
}

} // namespace

TEST(send_action, carries_the_bytes_on_a_tcp_connection_and_hangs_up) {
    for (const std::string& bytes :
         {std::string("PLAY 1\r\n"), std::string("a\0b", 3), std::string(16'384, 'x')}) {
        scripted_peer peer(listens());
        std::string error;
        EXPECT_TRUE(send_action("127.0.0.1", peer.port(), tcp, bytes, ample, error));
        EXPECT_EQ(error, "");
        EXPECT_EQ(received_in_the_end(peer), std::vector<std::string>{bytes});
        EXPECT_EQ(peer.connections(), 1U);
    }
}

TEST(send_action, succeeds_at_once_without_a_byte_to_send) {
    const scripted_peer peer(listens());
    datagram_receiver receiver;
    const steady_time start = steady_now();
    std::string error;
    EXPECT_TRUE(send_action("127.0.0.1", peer.port(), tcp, "", ample, error));
    EXPECT_TRUE(send_action("127.0.0.1", receiver.port(), udp, "", ample, error));
    EXPECT_LT(steady_now() - start, ample);
    EXPECT_EQ(error, "");
    EXPECT_EQ(received_in_the_end(peer), std::vector<std::string>{""});
    EXPECT_EQ(receiver.next(0ms), std::nullopt);
}

TEST(send_action, does_not_wait_for_the_devices_reply) {
    scripted_peer peer([](peer_connection& connection) { connection.hang(); });
    std::string error;
    EXPECT_TRUE(send_action("127.0.0.1", peer.port(), tcp, "PLAY", ample, error));
}

TEST(send_action, carries_the_bytes_in_one_datagram) {
    datagram_receiver receiver;
    for (const std::string& bytes :
         {std::string("PLAY 1\r\n"), std::string("a\0b", 3), std::string(16'384, 'x')}) {
        std::string error;
        EXPECT_TRUE(send_action("127.0.0.1", receiver.port(), udp, bytes, ample, error));
        EXPECT_EQ(error, "");
        EXPECT_EQ(receiver.next(), bytes);
    }
}

TEST(send_action, counts_a_datagram_to_nobody_as_sent) {
    std::string error;
    EXPECT_TRUE(send_action("127.0.0.1", 9, udp, "PLAY", ample, error));
    EXPECT_TRUE(send_action("127.0.0.1", 9, udp, "PLAY", ample, error));
    EXPECT_EQ(error, "");
}

TEST(send_action, fails_for_more_bytes_than_one_datagram_takes) {
    datagram_receiver receiver;
    std::string error;
    EXPECT_FALSE(
        send_action("127.0.0.1", receiver.port(), udp, std::string(65'508, 'x'), ample, error));
    EXPECT_EQ(error, failed);
}

TEST(send_action, resolves_host_names) {
    scripted_peer peer(listens());
    std::string error;
    EXPECT_TRUE(send_action("localhost", peer.port(), tcp, "PLAY", ample, error)) << error;
    EXPECT_EQ(received_in_the_end(peer), std::vector<std::string>{"PLAY"});
}

TEST(send_action, says_that_a_destination_could_not_be_resolved) {
    // Neither can be a name, so no name server is asked.
    for (const std::string& host : {std::string("a..b"), std::string(300, 'a')})
        for (const transport kind : {tcp, udp}) {
            std::string error;
            EXPECT_FALSE(send_action(host, 9, kind, "PLAY", ample, error));
            EXPECT_EQ(error, unresolved);
        }
}

TEST(send_action, fails_where_nobody_listens) {
    std::string error;
    const steady_time start = steady_now();
    EXPECT_FALSE(send_action("127.0.0.1", closed_port(), tcp, "PLAY", 3000ms, error));
    EXPECT_LT(steady_now() - start, 3000ms + 30s);
    EXPECT_EQ(error, failed);
}

TEST(send_action, gives_up_at_its_time_limit_on_a_device_that_does_not_read) {
    scripted_peer peer([](peer_connection& connection) { connection.ignore(); });
    std::string error;
    const steady_time start = steady_now();
    EXPECT_FALSE(
        send_action("127.0.0.1", peer.port(), tcp, std::string(30'000'000, 'x'), 200ms, error));
    EXPECT_GE(steady_now() - start, 150ms);
    EXPECT_EQ(error, failed);
}

TEST(send_action, has_one_time_limit_though_the_device_keeps_taking_a_little) {
    scripted_peer peer([](peer_connection& connection) {
        while (connection.wanted())
            if (!connection.trickle(262'144)) return;
    });
    std::string error;
    EXPECT_FALSE(
        send_action("127.0.0.1", peer.port(), tcp, std::string(30'000'000, 'x'), 200ms, error));
    EXPECT_EQ(error, failed);
}

TEST(send_action, sends_nothing_once_its_time_is_over) {
    scripted_peer peer(listens());
    datagram_receiver receiver;
    std::string error;
    EXPECT_FALSE(send_action("127.0.0.1", peer.port(), tcp, "PLAY", 0ms, error));
    EXPECT_EQ(error, failed);
    error.clear();
    EXPECT_FALSE(send_action("127.0.0.1", receiver.port(), udp, "PLAY", 0ms, error));
    EXPECT_EQ(error, failed);
    EXPECT_EQ(receiver.next(0ms), std::nullopt);
}
