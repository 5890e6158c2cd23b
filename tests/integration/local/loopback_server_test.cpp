#include "local/loopback_server.hpp"

#include "integration/support/loopback_client.hpp"

#include <gtest/gtest.h>
#include <stdexcept>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

TEST(loopback_server, hands_each_connection_to_its_handler) {
    std::atomic<int> served = 0;
    loopback_server server(4, [&](socket_handle connection) {
        ++served;
        send_some(connection, "hello", 1000ms);
    });
    ASSERT_TRUE(server.start(0));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(loopback_client(server.port()).read_to_end(), "hello");
    server.stop();
    EXPECT_EQ(served, 3);
}

TEST(loopback_server, outlives_a_handler_that_throws) {
    std::atomic<int> served = 0;
    loopback_server server(4, [&](socket_handle connection) {
        if (++served == 1) throw std::runtime_error("no room");
        send_some(connection, "x", 1s);
    });
    ASSERT_TRUE(server.start(0));
    EXPECT_EQ(loopback_client(server.port()).read_to_end(), "");
    EXPECT_EQ(loopback_client(server.port()).read_to_end(), "x");
    server.stop();
    EXPECT_EQ(served, 2);
}

TEST(loopback_server, tells_a_handler_at_work_that_it_stops_and_waits_for_it) {
    std::atomic<bool> at_work = false;
    std::atomic<bool> finished = false;
    loopback_server* self = nullptr;
    loopback_server server(4, [&](const socket_handle&) {
        at_work = true;
        while (self->running())
            std::this_thread::yield();
        finished = true;
    });
    self = &server;
    ASSERT_TRUE(server.start(0));
    const loopback_client client(server.port());
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
    loopback_server server(4, [&](const socket_handle&) {
        ++served;
        at_work = true;
        while (self->running())
            std::this_thread::yield();
    });
    self = &server;
    ASSERT_TRUE(server.start(0));
    const loopback_client held(server.port());
    while (!at_work)
        std::this_thread::yield();
    loopback_client late(server.port());
    server.stop();
    EXPECT_EQ(late.read_to_end(), "");
    EXPECT_EQ(served, 1);
}

TEST(loopback_server, stops_when_it_goes) {
    std::uint16_t port = 0;
    {
        loopback_server server(4, [](const socket_handle&) {});
        ASSERT_TRUE(server.start(0));
        port = server.port();
    }
    EXPECT_FALSE(loopback_client(port).connected());
    loopback_server again(4, [](const socket_handle&) {});
    EXPECT_TRUE(again.start(port));
}
