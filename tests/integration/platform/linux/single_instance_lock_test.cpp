#include "platform/single_instance.hpp"

#include "integration/support/environment.hpp"
#include "integration/support/temporary_folder.hpp"
#include "os/files.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

namespace elvantris::operator_control {
namespace {

class single_instance_lock : public testing::Test {
protected:
    single_instance_lock() { temporary_variable_.set(temporary_.path()); }

    std::string lock_of_the_user() const {
        return temporary_.file("elvantris-redundancy-control-" + std::to_string(::getuid()) +
                               ".lock");
    }

    temporary_folder temporary_;
    variable temporary_variable_{"TMPDIR"};
    variable session_variable_{"XDG_RUNTIME_DIR"};
};

TEST_F(single_instance_lock, stands_in_the_sessions_folder_and_stays_there) {
    const temporary_folder session;
    session_variable_.set(session.path());
    EXPECT_TRUE(single_instance().acquire_single_instance());
    EXPECT_TRUE(path_exists(session.file("elvantris-redundancy-control.lock")));
    EXPECT_FALSE(path_exists(lock_of_the_user()));
}

TEST_F(single_instance_lock, stands_in_the_temporary_folder_where_the_session_has_none) {
    session_variable_.clear();
    single_instance holder;
    EXPECT_TRUE(holder.acquire_single_instance());
    EXPECT_TRUE(path_exists(lock_of_the_user()));
    EXPECT_FALSE(single_instance().acquire_single_instance());
}

TEST_F(single_instance_lock, stands_in_the_temporary_folder_where_the_sessions_is_unusable) {
    // The last as a folder that may not be written: what may stop a user does not stop root.
    for (const std::string& folder :
         {std::string(), std::string("/nonexistent"), std::string("/dev/null")}) {
        session_variable_.set(folder);
        single_instance holder;
        EXPECT_TRUE(holder.acquire_single_instance()) << folder;
        EXPECT_TRUE(path_exists(lock_of_the_user())) << folder;
        EXPECT_FALSE(single_instance().acquire_single_instance()) << folder;
        remove_file(lock_of_the_user());
    }
}

TEST_F(single_instance_lock, is_refused_with_the_reason_where_no_file_can_be_made) {
    session_variable_.set("/nonexistent/session");
    temporary_variable_.set("/nonexistent/temporary");
    single_instance holder;
    EXPECT_FALSE(holder.acquire_single_instance());
    EXPECT_EQ(holder.refusal(), "Unable to lock /nonexistent/temporary/"
                                "elvantris-redundancy-control-" +
                                    std::to_string(::getuid()) +
                                    ".lock: No such file or directory");
}

} // namespace
} // namespace elvantris::operator_control
