// What a socket call says that failed for a reason of this computer.
#include "os/sockets.hpp"

#include "integration/support/linux/failing_system_call.hpp"
#include "integration/support/linux/without_descriptors.hpp"
#include "os/socket_failures.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <sys/syscall.h>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

constexpr milliseconds ample = 60s;

socket_address loopback(std::uint16_t port, const std::string& host = "127.0.0.1") {
    return resolve_address(host, port, address_family::any, transport::tcp).at(0);
}

} // namespace

TEST(failure_of, tells_what_is_wrong_with_this_computer_from_what_the_network_says) {
    for (const int error : {ENETUNREACH, EHOSTUNREACH, ENETDOWN, EADDRNOTAVAIL})
        EXPECT_EQ(failure_of(error), network_failure::no_network) << error;
    for (const int error : {EMFILE, ENFILE, ENOBUFS, ENOMEM, EADDRINUSE, EAGAIN})
        EXPECT_EQ(failure_of(error), network_failure::no_resources) << error;
    for (const int error : {ECONNREFUSED, ECONNRESET, ETIMEDOUT, EPIPE})
        EXPECT_EQ(failure_of(error), network_failure::unanswered) << error;
}

TEST(try_to_resolve, tells_a_name_that_nobody_knows_from_a_lookup_that_could_not_be_made) {
    const auto resolve = [](const std::string& host) {
        return try_to_resolve(host, 80, address_family::any, transport::tcp);
    };
    EXPECT_EQ(resolve("127.0.0.1").failure, network_failure::none);
    EXPECT_EQ(resolve("a..b").failure, network_failure::unanswered);
    const without_descriptors none;
    EXPECT_EQ(resolve("localhost").failure, network_failure::no_resources);
    EXPECT_EQ(resolve("127.0.0.1").failure, network_failure::none);
}

TEST(try_to_connect, tells_that_there_is_no_descriptor_or_buffer) {
    const socket_handle listener = listen_on_loopback(0, 4);
    const socket_address address = loopback(bound_port(listener));
    {
        const without_descriptors none;
        EXPECT_EQ(try_to_connect(address, ample).failure, network_failure::no_resources);
    }
    for (const long call : {SYS_connect, SYS_getsockopt})
        with_failing_system_call(call, ENOBUFS, [&] {
            EXPECT_EQ(try_to_connect(address, ample).failure, network_failure::no_resources);
        });
}

TEST(try_to_send, tells_that_there_is_no_buffer) {
    const socket_handle listener = listen_on_loopback(0, 4);
    const socket_handle client = connect_socket(loopback(bound_port(listener)), ample);
    with_failing_system_call(SYS_sendto, ENOBUFS, [&] {
        const send_attempt attempt = try_to_send(client, "hello", ample);
        EXPECT_EQ(attempt.size, 0U);
        EXPECT_EQ(attempt.failure, network_failure::no_resources);
    });
    EXPECT_EQ(try_to_send(client, "hello", ample).size, 5U);
}

TEST(try_to_receive, tells_an_end_from_a_lack_of_memory) {
    const socket_handle listener = listen_on_loopback(0, 4);
    const socket_handle client = connect_socket(loopback(bound_port(listener)), ample);
    ASSERT_TRUE(wait_readable(listener, ample));
    socket_handle served = accept_connection(listener);
    std::array<char, 16> buffer{};
    EXPECT_EQ(try_to_receive(client, buffer, 0ms).result, receive_result::nothing_yet);
    served.close();
    with_failing_system_call(SYS_recvfrom, ENOMEM, [&] {
        EXPECT_EQ(try_to_receive(client, buffer, ample).result, receive_result::no_resources);
    });
    EXPECT_EQ(try_to_receive(client, buffer, ample).result, receive_result::ended);
}

TEST(has_way_to, follows_the_interfaces_of_this_computer_in_either_family) {
    EXPECT_TRUE(has_way_to(loopback(80)));
    with_failing_system_call(SYS_connect, ENETUNREACH, [] {
        EXPECT_FALSE(has_way_to(loopback(80)));
        EXPECT_FALSE(has_way_to(loopback(80, "::1")));
    });
}

TEST(has_way_to, takes_what_it_can_not_find_out_for_a_way) {
    const socket_address address = loopback(80);
    const without_descriptors none;
    EXPECT_TRUE(has_way_to(address));
}
