#include "platform/open_external.hpp"

#include "integration/support/environment.hpp"
#include "integration/support/eventually.hpp"
#include "integration/support/temporary_folder.hpp"
#include "os/files.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace elvantris::operator_control {
namespace {

bool has_children() {
    siginfo_t child{};
    return ::waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT) == 0;
}

TEST(opener, leaves_no_child_behind_where_there_is_none) {
    variable path("PATH");
    for (const char* const folders : {"/nonexistent", ""}) {
        path.set(folders);
        open_external("http://127.0.0.1:5270/");
        EXPECT_FALSE(has_children());
    }
}

// The desktop's own opener may stay for as long as what it has opened.
TEST(opener, is_handed_the_target_and_not_waited_for) {
    const temporary_folder folder;
    const std::string gate = folder.file("gate");
    const std::string told = folder.file("told");
    ASSERT_EQ(::mkfifo(gate.c_str(), 0600), 0);
    const std::string script = folder.file("xdg-open");
    ASSERT_EQ(write_whole_file(script, "#!/bin/sh\n"
                                       "printf '%s %s' $# \"$1\" >'" +
                                           told + "'\nread end <'" + gate + "'\n"),
              write_outcome::written);
    ASSERT_EQ(::chmod(script.c_str(), 0700), 0);
    const std::string target = "/B\xc3\xbchne links/$HOME \"log\"";
    {
        variable path("PATH");
        path.set(folder.path());
        open_external(target);
    }
    EXPECT_FALSE(has_children());
    EXPECT_TRUE(eventually([&] { return read_whole_file(told, 4096) == "1 " + target; }));
    int end = -1;
    // It can be opened once the script reads from it; closing it ends the script.
    EXPECT_TRUE(eventually([&] {
        end = ::open(gate.c_str(), O_WRONLY | O_NONBLOCK);
        return end >= 0;
    }));
    ::close(end);
}

} // namespace
} // namespace elvantris::operator_control
