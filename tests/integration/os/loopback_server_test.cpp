#include "os/loopback_server.hpp"

#include "integration/support/loopback_client.hpp"

#include <gtest/gtest.h>

#include <array>
#include <deque>
#include <stdexcept>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

constexpr loopback_limits few{.backlog = 4, .connections = 3, .spare_descriptors = 32};

loopback_client spoken_client(std::uint16_t port, std::string_view words = "hi") {
    loopback_client client(port);
    EXPECT_TRUE(client.send(words));
    return client;
}

// Says what it hears, and hangs up.
void echo(const loopback_connection& connection) {
    std::array<char, 64> buffer{};
    const std::size_t size = receive_some(connection.socket, buffer, 10s);
    send_some(connection.socket, {buffer.data(), size}, 10s);
}

} // namespace

TEST(loopback_server, hands_each_connection_to_its_handler) {
    std::atomic<int> served = 0;
    loopback_server server(few, [&](const loopback_connection& connection) {
        ++served;
        send_some(connection.socket, "hello", 1000ms);
    });
    ASSERT_TRUE(server.start(0));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(spoken_client(server.port()).read_to_end(), "hello");
    server.stop();
    EXPECT_EQ(served, 3);
}

TEST(loopback_server, outlives_a_handler_that_throws) {
    std::atomic<int> served = 0;
    loopback_server server(few, [&](const loopback_connection& connection) {
        if (++served == 1) throw std::runtime_error("no room");
        send_some(connection.socket, "x", 1s);
    });
    ASSERT_TRUE(server.start(0));
    EXPECT_EQ(spoken_client(server.port()).read_to_end(), "");
    EXPECT_EQ(spoken_client(server.port()).read_to_end(), "x");
    server.stop();
    EXPECT_EQ(served, 2);
}

TEST(loopback_server, tells_a_handler_at_work_that_it_stops_and_waits_for_it) {
    std::atomic<bool> at_work = false;
    std::atomic<bool> finished = false;
    loopback_server* self = nullptr;
    loopback_server server(few, [&](const loopback_connection&) {
        at_work = true;
        while (self->running())
            std::this_thread::yield();
        finished = true;
    });
    self = &server;
    ASSERT_TRUE(server.start(0));
    const loopback_client client = spoken_client(server.port());
    while (!at_work)
        std::this_thread::yield();
    server.stop();
    EXPECT_TRUE(finished);
    EXPECT_FALSE(server.running());
}

TEST(loopback_server, closes_connections_unread_that_came_after_the_stop_began) {
    std::atomic<int> served = 0;
    std::atomic<bool> at_work = false;
    loopback_server* self = nullptr;
    loopback_server server(few, [&](const loopback_connection&) {
        ++served;
        at_work = true;
        while (self->running())
            std::this_thread::yield();
    });
    self = &server;
    ASSERT_TRUE(server.start(0));
    const loopback_client held = spoken_client(server.port());
    while (!at_work)
        std::this_thread::yield();
    loopback_client late = spoken_client(server.port());
    server.stop();
    EXPECT_EQ(late.read_to_end(), "");
    EXPECT_EQ(served, 1);
}

TEST(loopback_server, stops_when_it_goes) {
    std::uint16_t port = 0;
    {
        loopback_server server(few, [](const loopback_connection&) {});
        ASSERT_TRUE(server.start(0));
        port = server.port();
    }
    EXPECT_FALSE(loopback_client(port).connected());
    loopback_server again(few, [](const loopback_connection&) {});
    EXPECT_TRUE(again.start(port));
}

TEST(loopback_server, serves_the_one_that_speaks_first_though_others_came_before_it) {
    loopback_server server(few, echo);
    ASSERT_TRUE(server.start(0));
    loopback_client first(server.port());
    loopback_client second(server.port());
    loopback_client third = spoken_client(server.port(), "third");
    EXPECT_EQ(third.read_to_end(), "third");
    EXPECT_TRUE(second.send("second"));
    EXPECT_EQ(second.read_to_end(), "second");
    EXPECT_TRUE(first.send("first"));
    EXPECT_EQ(first.read_to_end(), "first");
}

TEST(loopback_server, closes_the_longest_silent_connection_when_one_too_many_comes) {
    loopback_server server(few, echo);
    ASSERT_TRUE(server.start(0));
    loopback_client oldest(server.port());
    std::vector<loopback_client> silent;
    for (std::size_t i = 1; i < few.connections; ++i)
        silent.emplace_back(server.port());
    EXPECT_TRUE(oldest.silent_for(50ms)); // nobody is closed while there is room
    loopback_client late(server.port());
    EXPECT_EQ(oldest.read_to_end(), "");
    silent.push_back(std::move(late));
    for (loopback_client& client : silent) {
        EXPECT_TRUE(client.send("here"));
        EXPECT_EQ(client.read_to_end(), "here");
    }
}

TEST(loopback_server, forgets_a_silent_connection_that_leaves) {
    std::atomic<int> heard = 0;
    loopback_server server(few, [&](const loopback_connection& connection) {
        ++heard;
        echo(connection);
    });
    ASSERT_TRUE(server.start(0));
    loopback_client stays(server.port());
    for (int i = 0; i < 10; ++i) {
        loopback_client(server.port()).close();
        EXPECT_EQ(spoken_client(server.port(), "x").read_to_end(), "x");
    }
    EXPECT_TRUE(stays.send("still here"));
    EXPECT_EQ(stays.read_to_end(), "still here");
    server.stop();
    EXPECT_EQ(heard, 21); // the end of a connection is the last that is heard of it
}

TEST(loopback_server, closes_a_newcomer_when_all_others_are_being_served) {
    std::deque<loopback_connection> kept;
    std::atomic<std::size_t> count = 0;
    loopback_server server(few, [&](loopback_connection connection) {
        kept.push_back(std::move(connection));
        ++count;
    });
    ASSERT_TRUE(server.start(0));
    std::vector<loopback_client> served;
    for (std::size_t i = 0; i < few.connections; ++i)
        served.push_back(spoken_client(server.port()));
    while (count < few.connections)
        std::this_thread::yield();
    EXPECT_EQ(loopback_client(server.port()).read_to_end(), "");
    EXPECT_TRUE(served.front().silent_for(0ms));
    server.stop();

    kept.pop_back();
    ASSERT_TRUE(server.start(0));
    loopback_client next = spoken_client(server.port());
    while (count < few.connections + 1)
        std::this_thread::yield();
    EXPECT_EQ(loopback_client(server.port()).read_to_end(), "");
}

TEST(loopback_server, stops_at_once_and_closes_the_silent_ones) {
    loopback_server server(few, echo);
    ASSERT_TRUE(server.start(0));
    loopback_client silent(server.port());
    EXPECT_EQ(spoken_client(server.port(), "x").read_to_end(), "x");
    server.stop();
    EXPECT_EQ(silent.read_to_end(), "");
    ASSERT_TRUE(server.start(0));
    EXPECT_EQ(spoken_client(server.port(), "again").read_to_end(), "again");
}
