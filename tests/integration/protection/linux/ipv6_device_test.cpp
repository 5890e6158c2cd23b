#include "protection/outbound_sending.hpp"

#include "os/sockets.hpp"

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/socket.h>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

constexpr milliseconds ample = 60s;

// A device that is reachable at ::1 alone. It has no port where there is no such address.
class ipv6_device {
public:
    explicit ipv6_device(int type) : socket_(::socket(AF_INET6, type, 0)) {
        const int native = static_cast<int>(socket_.native());
        sockaddr_in6 address{};
        address.sin6_family = AF_INET6;
        address.sin6_addr = in6addr_loopback;
        socklen_t length = sizeof address;
        auto* const plain = reinterpret_cast<sockaddr*>(&address);
        if (::bind(native, plain, length) != 0) return;
        if (type == SOCK_STREAM && ::listen(native, 1) != 0) return;
        if (::getsockname(native, plain, &length) == 0) port_ = ntohs(address.sin6_port);
    }

    const socket_handle& socket() const { return socket_; }
    std::uint16_t port() const { return port_; }

private:
    socket_handle socket_;
    std::uint16_t port_ = 0;
};

std::string next_bytes(const socket_handle& socket) {
    std::string bytes(1000, '\0');
    bytes.resize(receive_some(socket, bytes, ample));
    return bytes;
}

} // namespace

TEST(send_action, carries_the_bytes_to_an_ipv6_address_over_tcp) {
    const ipv6_device device(SOCK_STREAM);
    ASSERT_NE(device.port(), 0) << "this machine has no IPv6 loopback address";
    std::string error;
    ASSERT_TRUE(send_action("::1", device.port(), transport::tcp, "PLAY 1\r\n", ample, error))
        << error;
    ASSERT_TRUE(wait_readable(device.socket(), ample));
    const socket_handle connection = accept_connection(device.socket());
    EXPECT_EQ(next_bytes(connection), "PLAY 1\r\n");
    EXPECT_EQ(next_bytes(connection), "") << "it hangs up";
}

TEST(send_action, carries_the_bytes_to_an_ipv6_address_in_one_datagram) {
    const ipv6_device device(SOCK_DGRAM);
    ASSERT_NE(device.port(), 0) << "this machine has no IPv6 loopback address";
    std::string error;
    ASSERT_TRUE(send_action("::1", device.port(), transport::udp, "PLAY 1\r\n", ample, error))
        << error;
    EXPECT_EQ(next_bytes(device.socket()), "PLAY 1\r\n");
}
