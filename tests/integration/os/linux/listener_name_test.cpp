#include "os/listening_ports.hpp"

#include "os/sockets.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

TEST(programs_listening_on, names_the_program_of_a_listener) {
    const socket_handle listener = listen_on_loopback(0, 1);
    ASSERT_TRUE(listener.valid());
    const auto programs = programs_listening_on(bound_port(listener));
    ASSERT_TRUE(programs);
    ASSERT_EQ(programs->size(), 1U);
    EXPECT_EQ(programs->front().process, describe_this_process().process);
    EXPECT_EQ(programs->front().name, "integration_tests");
}
