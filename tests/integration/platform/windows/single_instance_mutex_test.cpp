#include "platform/single_instance.hpp"

#include <gtest/gtest.h>

#include <windows.h>

namespace elvantris::operator_control {
namespace {

TEST(single_instance_mutex, is_refused_with_the_reason_where_its_name_is_something_else) {
    const char* const name = "Local\\TarnwellMedia.ElvantrisOperatorControl";
    const HANDLE event = ::CreateEventA(nullptr, TRUE, FALSE, name);
    ASSERT_NE(event, nullptr);
    single_instance holder;
    EXPECT_FALSE(holder.acquire_single_instance());
    EXPECT_TRUE(holder.refusal().starts_with("Unable to create " + std::string(name) + ": "))
        << holder.refusal();
    ::CloseHandle(event);
    EXPECT_TRUE(holder.acquire_single_instance());
}

} // namespace
} // namespace elvantris::operator_control
