#include "os/process.hpp"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <unistd.h>

using namespace elvantris::operator_control;

namespace {

// The process's limit while this lives, and all that was opened meanwhile closed again.
class descriptor_limit {
public:
    explicit descriptor_limit(rlim_t soft) {
        EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &before_), 0);
        set({.rlim_cur = soft, .rlim_max = before_.rlim_max});
    }
    ~descriptor_limit() {
        for (const int descriptor : opened_)
            ::close(descriptor);
        set(before_);
    }
    descriptor_limit(const descriptor_limit&) = delete;
    descriptor_limit& operator=(const descriptor_limit&) = delete;
    descriptor_limit(descriptor_limit&&) = delete;
    descriptor_limit& operator=(descriptor_limit&&) = delete;

    bool open_one() {
        const int descriptor = ::dup(STDERR_FILENO);
        if (descriptor >= 0) opened_.push_back(descriptor);
        return descriptor >= 0;
    }
    static rlim_t soft() {
        rlimit now{};
        EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &now), 0);
        return now.rlim_cur;
    }

private:
    static void set(const rlimit& limit) { EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0); }

    rlimit before_{};
    std::vector<int> opened_;
};

} // namespace

TEST(descriptors_left, counts_down_to_the_last_one) {
    descriptor_limit limit(128);
    EXPECT_TRUE(descriptors_left(32));
    EXPECT_FALSE(descriptors_left(129));
    while (descriptors_left(32))
        ASSERT_TRUE(limit.open_one());
    for (std::size_t left = 31; left > 0; --left) {
        EXPECT_TRUE(descriptors_left(left));
        EXPECT_FALSE(descriptors_left(left + 1));
        ASSERT_TRUE(limit.open_one());
    }
    EXPECT_FALSE(limit.open_one());
    EXPECT_FALSE(descriptors_left(1));
    EXPECT_TRUE(descriptors_left(0));
}

TEST(raise_descriptor_limit, raises_a_low_limit_and_leaves_a_high_one) {
    {
        const descriptor_limit limit(100);
        raise_descriptor_limit();
        EXPECT_GT(descriptor_limit::soft(), 100U);
        EXPECT_LE(descriptor_limit::soft(), 4096U);
    }
    const descriptor_limit limit(5000);
    raise_descriptor_limit();
    EXPECT_EQ(descriptor_limit::soft(), 5000U);
}
