#include "platform/open_external.hpp"

#include "integration/support/environment.hpp"
#include "integration/support/temporary_folder.hpp"
#include "os/files.hpp"

#include <gtest/gtest.h>

namespace elvantris::operator_control {
namespace {

TEST(open_external, returns_where_nothing_can_open_the_target) {
    variable path("PATH");
    path.set("");
    const temporary_folder folder;
    const std::string target = folder.file("no such file.of-no-known-kind");
    for (const std::string& each : {target, std::string("elvantris-unknown:target"), std::string()})
        open_external(each);
    EXPECT_FALSE(path_exists(target));
}

} // namespace
} // namespace elvantris::operator_control
