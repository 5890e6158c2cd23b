#include "platform/single_instance.hpp"

#include "integration/support/environment.hpp"
#include "integration/support/temporary_folder.hpp"

#include <gtest/gtest.h>

#include <memory>

namespace elvantris::operator_control {
namespace {

// A login session of its own, where the system keeps the mark in the session's folder.
class single_instance_test : public testing::Test {
protected:
    single_instance_test() { variable_.set(session_.path()); }

private:
    temporary_folder session_;
    variable variable_{"XDG_RUNTIME_DIR"};
};

TEST_F(single_instance_test, is_had_again_by_who_holds_it) {
    single_instance holder;
    EXPECT_TRUE(holder.acquire_single_instance());
    EXPECT_TRUE(holder.acquire_single_instance());
}

TEST_F(single_instance_test, is_refused_to_a_second_holder_until_the_first_is_gone) {
    auto first = std::make_unique<single_instance>();
    ASSERT_TRUE(first->acquire_single_instance());
    single_instance second;
    EXPECT_FALSE(second.acquire_single_instance());
    EXPECT_FALSE(second.acquire_single_instance());
    EXPECT_EQ(second.refusal(), ""); // that another holds it needs no word
    first.reset();
    EXPECT_TRUE(second.acquire_single_instance());
}

TEST_F(single_instance_test, is_not_given_back_by_who_was_refused) {
    single_instance first;
    ASSERT_TRUE(first.acquire_single_instance());
    EXPECT_FALSE(single_instance().acquire_single_instance());
    EXPECT_FALSE(single_instance().acquire_single_instance());
}

} // namespace
} // namespace elvantris::operator_control
