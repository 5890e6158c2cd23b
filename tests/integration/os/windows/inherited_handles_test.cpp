#include "os/files.hpp"
#include "os/sockets.hpp"
#include "platform/single_instance.hpp"

#include "integration/support/temporary_folder.hpp"

#include <gtest/gtest.h>

#include <windows.h>

namespace elvantris::operator_control {
namespace {

constexpr milliseconds ample{5000};

struct handle_counts {
    int open = 0;
    int inherited = 0; // by a child that is started with all that it may have
};

// A handle is a small multiple of four.
handle_counts count_handles() {
    handle_counts counts;
    for (std::intptr_t value = 4; value < 65536; value += 4) {
        DWORD flags = 0;
        if (::GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags) == 0) continue;
        ++counts.open;
        if ((flags & HANDLE_FLAG_INHERIT) != 0) ++counts.inherited;
    }
    return counts;
}

TEST(inherited_handles, are_none_of_those_that_the_program_opens) {
    const temporary_folder folder;
    const handle_counts before = count_handles();

    const socket_handle listener = listen_on_loopback(0, 4);
    const auto address =
        resolve_address("127.0.0.1", bound_port(listener), address_family::ipv4, transport::tcp);
    ASSERT_FALSE(address.empty());
    const socket_handle client = connect_socket(address.front(), ample);
    ASSERT_TRUE(wait_readable(listener, ample));
    const socket_handle accepted = accept_connection(listener);
    const socket_handle datagrams = open_datagram_socket();
    const broadcast_socket broadcasts = open_broadcast_socket();
    append_file log;
    EXPECT_TRUE(log.open(folder.file("log")));
    single_instance instance;
    EXPECT_TRUE(instance.acquire_single_instance());
    EXPECT_TRUE(client.valid() && accepted.valid() && datagrams.valid() &&
                broadcasts.socket.valid());

    const handle_counts after = count_handles();
    EXPECT_GE(after.open, before.open + 7);
    EXPECT_EQ(after.inherited, before.inherited);
}

} // namespace
} // namespace elvantris::operator_control
