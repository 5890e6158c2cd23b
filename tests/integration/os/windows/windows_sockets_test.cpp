#include "os/sockets.hpp"

#include "os/socket_failures.hpp"

#include <gtest/gtest.h>

#include <winsock2.h>

namespace elvantris::operator_control {
namespace {

constexpr milliseconds ample{5000};

SOCKET native_of(const socket_handle& socket) {
    return static_cast<SOCKET>(socket.native());
}

sockaddr_in address_of(const socket_handle& listener) {
    sockaddr_in address{};
    int length = sizeof address;
    ::getsockname(native_of(listener), reinterpret_cast<sockaddr*>(&address), &length);
    return address;
}

TEST(windows_listener, shares_its_port_with_no_program_that_asks_for_it) {
    const socket_handle listener = listen_on_loopback(0, 4);
    ASSERT_TRUE(listener.valid());
    BOOL exclusive = FALSE;
    int length = sizeof exclusive;
    ASSERT_EQ(::getsockopt(native_of(listener), SOL_SOCKET, SO_EXCLUSIVEADDRUSE,
                           reinterpret_cast<char*>(&exclusive), &length),
              0);
    EXPECT_NE(exclusive, FALSE);

    const socket_handle intruder(
        static_cast<std::intptr_t>(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP)));
    const BOOL on = TRUE;
    ::setsockopt(native_of(intruder), SOL_SOCKET, SO_REUSEADDR, reinterpret_cast<const char*>(&on),
                 sizeof on);
    const sockaddr_in address = address_of(listener);
    EXPECT_NE(
        ::bind(native_of(intruder), reinterpret_cast<const sockaddr*>(&address), sizeof address),
        0);
}

TEST(failure_of, tells_what_is_wrong_with_this_computer_from_what_the_network_says) {
    for (const int error : {WSAENETUNREACH, WSAEHOSTUNREACH, WSAENETDOWN, WSAEADDRNOTAVAIL})
        EXPECT_EQ(failure_of(error), network_failure::no_network) << error;
    for (const int error : std::initializer_list<int>{WSAEMFILE, WSAENOBUFS, WSA_NOT_ENOUGH_MEMORY,
                                                      WSAEADDRINUSE, WSAEWOULDBLOCK})
        EXPECT_EQ(failure_of(error), network_failure::no_resources) << error;
    for (const int error : {WSAECONNREFUSED, WSAECONNRESET, WSAETIMEDOUT, WSAHOST_NOT_FOUND})
        EXPECT_EQ(failure_of(error), network_failure::unanswered) << error;
}

TEST(windows_send, hands_over_many_megabytes_in_pieces) {
    const socket_handle listener = listen_on_loopback(0, 4);
    const auto address =
        resolve_address("127.0.0.1", bound_port(listener), address_family::ipv4, transport::tcp);
    ASSERT_FALSE(address.empty());
    const socket_handle client = connect_socket(address.front(), ample);
    ASSERT_TRUE(client.valid());
    const int much = 32 * 1024 * 1024;
    ::setsockopt(native_of(client), SOL_SOCKET, SO_SNDBUF, reinterpret_cast<const char*>(&much),
                 sizeof much);
    const std::string bytes(much, 'x');
    const std::size_t sent = send_some(client, bytes, ample);
    EXPECT_GT(sent, 0U);
    EXPECT_LE(sent, 1024U * 1024U);
}

} // namespace
} // namespace elvantris::operator_control
