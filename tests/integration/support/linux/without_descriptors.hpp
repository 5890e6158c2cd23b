#pragma once

#include <gtest/gtest.h>

#include <sys/resource.h>

namespace elvantris::operator_control {

// No file and no socket can be opened while it lives.
class without_descriptors {
public:
    without_descriptors() {
        EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &before_), 0);
        const rlimit none{.rlim_cur = 0, .rlim_max = before_.rlim_max};
        EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    }
    ~without_descriptors() { ::setrlimit(RLIMIT_NOFILE, &before_); }
    without_descriptors(const without_descriptors&) = delete;
    without_descriptors& operator=(const without_descriptors&) = delete;
    without_descriptors(without_descriptors&&) = delete;
    without_descriptors& operator=(without_descriptors&&) = delete;

private:
    rlimit before_{};
};

} // namespace elvantris::operator_control
