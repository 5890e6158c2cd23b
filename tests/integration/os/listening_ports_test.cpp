#include "os/listening_ports.hpp"

#include "os/sockets.hpp"

#include <gtest/gtest.h>

#include <optional>

using namespace elvantris::operator_control;

TEST(programs_listening_on, has_the_listener) {
    const socket_runtime runtime;
    const socket_handle listener = listen_on_loopback(0, 1);
    ASSERT_TRUE(listener.valid());
    const auto programs = programs_listening_on(bound_port(listener));
    ASSERT_TRUE(programs);
    ASSERT_EQ(programs->size(), 1U);
    // Wine doesn't know whose it is.
    const process_number owner = programs->front().process;
    EXPECT_TRUE(owner == describe_this_process().process || owner == 0) << owner;
}

TEST(programs_listening_on, knows_nobody_where_nobody_listens) {
    const socket_runtime runtime;
    std::optional<socket_handle> listener = listen_on_loopback(0, 1);
    const std::uint16_t port = bound_port(*listener);
    listener.reset();
    const auto programs = programs_listening_on(port);
    ASSERT_TRUE(programs);
    EXPECT_TRUE(programs->empty());
}
