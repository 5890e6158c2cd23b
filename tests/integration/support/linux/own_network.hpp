#pragma once

#include <gtest/gtest.h>

#include <sched.h>
#include <unistd.h>

namespace elvantris::operator_control {

// Only root may make a network; the whole suite runs as root.
inline bool may_leave_network() {
    return ::geteuid() == 0;
}

// From now on the calling thread is in a network of its own, in which no interface is up.
inline void leave_network() {
    EXPECT_EQ(::unshare(CLONE_NEWNET), 0);
}

} // namespace elvantris::operator_control
