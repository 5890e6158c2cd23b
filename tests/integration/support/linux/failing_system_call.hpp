#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <thread>

namespace elvantris::operator_control {

// From now on this system call fails with this error for the calling thread, to the thread's end.
// No right is needed for that.
inline void let_system_call_fail(long number, int error) {
    std::array<sock_filter, 4> program{{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<__u32>(number), 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<__u32>(error)),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    }};
    sock_fprog filter{.len = program.size(), .filter = program.data()};
    EXPECT_EQ(::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    EXPECT_EQ(::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter), 0);
}

// Runs the act on a thread of its own, for which this system call fails with this error.
template<typename act_type>
void with_failing_system_call(long number, int error, const act_type& act) {
    std::thread([&] {
        let_system_call_fail(number, error);
        act();
    }).join();
}

} // namespace elvantris::operator_control
