#include "os/access_rights.hpp"

#include "integration/support/temporary_folder.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

using namespace elvantris::operator_control;

TEST(try_folder, leaves_nothing_in_a_folder_that_it_may_write) {
    const temporary_folder folder;
    EXPECT_EQ(try_folder(folder.path()), folder_access::writable);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(try_folder, tells_a_missing_folder_from_a_refused_one) {
    const temporary_folder folder;
    EXPECT_EQ(try_folder(folder.file("none")), folder_access::missing);
    const std::ofstream file(folder.file("file"));
    EXPECT_EQ(try_folder(folder.file("file")), folder_access::refused);
}

TEST(try_device, says_whether_it_is_there) {
    const temporary_folder folder;
    EXPECT_EQ(try_device(folder.file("none")), device_access::gone);
    std::ofstream(folder.file("device")) << "x";
    EXPECT_EQ(try_device(folder.file("device")), device_access::usable);
}
