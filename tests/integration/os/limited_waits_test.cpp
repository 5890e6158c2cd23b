// How limits end the waits for a socket.
#include "os/sockets.hpp"

#include "integration/support/choked_listener.hpp"
#include "integration/support/datagram_receiver.hpp"

#include <gtest/gtest.h>

#include <thread>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

constexpr milliseconds ample = 60s;
constexpr milliseconds endless{-1};

// Two ends of one connection.
class limited_waits : public testing::Test {
protected:
    limited_waits() {
        const auto address = resolve_address("127.0.0.1", bound_port(listener_),
                                             address_family::ipv4, transport::tcp);
        here = connect_socket(address.at(0), ample);
        EXPECT_TRUE(wait_readable(listener_, ample));
        there = accept_connection(listener_);
    }

    socket_handle listener_ = listen_on_loopback(0, 4);
    socket_handle here;
    socket_handle there;
    std::array<char, 16> buffer{};
};

call_limits given_up_at_question(int count, int& asked) {
    asked = 0;
    return {.given_up = [count, &asked] { return ++asked >= count; }};
}

} // namespace

TEST_F(limited_waits, ask_again_and_again_whether_they_are_still_wanted) {
    int asked = 0;
    const steady_time begun = steady_now();
    EXPECT_FALSE(wait_readable(here, endless, given_up_at_question(4, asked)));
    EXPECT_EQ(asked, 4);
    EXPECT_FALSE(wait_readable(here, ample, given_up_at_question(4, asked)));
    EXPECT_EQ(asked, 4);
    EXPECT_LT(steady_now() - begun, 30s);
}

TEST_F(limited_waits, end_at_the_deadline_or_at_the_time_out_whichever_comes_first) {
    for (const milliseconds timeout : {endless, ample}) {
        const steady_time deadline = steady_now() + 150ms;
        EXPECT_FALSE(wait_readable(here, timeout, {.deadline = deadline, .given_up = {}}));
        EXPECT_GE(steady_now(), deadline);
    }
    const steady_time begun = steady_now();
    EXPECT_FALSE(wait_readable(here, 150ms, call_limits{}.within(ample)));
    EXPECT_GE(steady_now() - begun, 150ms);
    EXPECT_LT(steady_now() - begun, 30s);
}

TEST_F(limited_waits, do_not_look_once_nobody_wants_the_answer) {
    ASSERT_EQ(send_some(there, "hello", ample), 5U);
    ASSERT_TRUE(wait_readable(here, ample));
    int asked = 0;
    EXPECT_FALSE(wait_readable(here, ample, given_up_at_question(1, asked)));
    EXPECT_FALSE(wait_writable(here, ample, given_up_at_question(1, asked)));
    EXPECT_EQ(receive_some(here, buffer, ample), 5U);
}

TEST_F(limited_waits, count_what_is_there_when_their_time_is_over) {
    const call_limits over{.deadline = steady_now() - 1s, .given_up = {}};
    EXPECT_EQ(try_to_receive(here, buffer, ample, over).result, receive_result::nothing_yet);
    // The question to the caller may take longer than the whole wait.
    const call_limits slow{.deadline = steady_now() + 20ms, .given_up = [&] {
                               std::this_thread::sleep_for(40ms);
                               send_some(there, "x", ample);
                               return false;
                           }};
    EXPECT_GT(receive_some(here, buffer, ample, slow), 0U);
    EXPECT_TRUE(wait_writable(here, ample, over));
}

TEST_F(limited_waits, send_nothing_once_nobody_wants_it) {
    int asked = 0;
    const send_attempt attempt = try_to_send(here, "hello", ample, given_up_at_question(1, asked));
    EXPECT_EQ(attempt.size, 0U);
    EXPECT_EQ(attempt.failure, network_failure::unanswered);
    EXPECT_FALSE(wait_readable(there, 0ms));
}

TEST(try_to_connect, closes_what_is_not_connected_when_its_limits_are_over) {
    const choked_listener listener;
    const auto address =
        resolve_address("127.0.0.1", listener.port(), address_family::ipv4, transport::tcp);
    int asked = 0;
    for (const call_limits& limits :
         {call_limits{}.within(100ms), given_up_at_question(2, asked)}) {
        const connect_attempt attempt = try_to_connect(address.at(0), ample, limits);
        EXPECT_FALSE(attempt.socket.valid());
        EXPECT_EQ(attempt.failure, network_failure::unanswered);
    }
}

TEST(receive_datagram, ends_with_its_limits) {
    const broadcast_socket receiver = open_broadcast_socket();
    std::array<char, 4> buffer{};
    int asked = 0;
    EXPECT_FALSE(receive_datagram(receiver.socket, buffer, ample, given_up_at_question(3, asked)));
    EXPECT_EQ(asked, 3);
    EXPECT_FALSE(receive_datagram(receiver.socket, buffer, ample, call_limits{}.within(20ms)));
}
