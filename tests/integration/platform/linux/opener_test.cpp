#include "platform/open_external.hpp"

#include "integration/support/environment.hpp"
#include "integration/support/eventually.hpp"
#include "integration/support/temporary_folder.hpp"
#include "os/file_paths.hpp"
#include "os/files.hpp"
#include "os/sockets.hpp"
#include "platform/single_instance.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <iterator>
#include <sstream>
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

// What the descriptors of this process lead to.
std::set<std::string> open_descriptors() {
    std::set<std::string> links;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        links.insert(std::filesystem::read_symlink(entry, gone).string());
    }
    return links;
}

TEST(opener, inherits_none_of_the_descriptors) {
    const temporary_folder folder;
    const std::string told = folder.file("told");
    const std::string script = folder.file("xdg-open");
    ASSERT_EQ(write_whole_file(script, "#!/bin/sh\nfor each in /proc/$$/fd/*; do\n"
                                       "readlink \"$each\"\ndone >'" +
                                           told + ".part'\nmv '" + told + ".part' '" + told +
                                           "'\n"),
              write_outcome::written);
    ASSERT_EQ(::chmod(script.c_str(), 0700), 0);
    variable session("XDG_RUNTIME_DIR");
    session.set(folder.path());
    variable path("PATH");
    path.set(folder.path() + ":/usr/bin:/bin");

    const std::set<std::string> before = open_descriptors();
    const socket_handle listener = listen_on_loopback(0, 4);
    const auto address =
        resolve_address("127.0.0.1", bound_port(listener), address_family::ipv4, transport::tcp);
    ASSERT_FALSE(address.empty());
    const socket_handle client = connect_socket(address.front(), milliseconds(5000));
    ASSERT_TRUE(wait_readable(listener, milliseconds(5000)));
    const socket_handle accepted = accept_connection(listener);
    const socket_handle datagrams = open_datagram_socket();
    const broadcast_socket broadcasts = open_broadcast_socket();
    append_file log;
    ASSERT_TRUE(log.open(folder.file("log")));
    single_instance instance;
    ASSERT_TRUE(instance.acquire_single_instance());
    std::set<std::string> ours;
    std::ranges::set_difference(open_descriptors(), before, std::inserter(ours, ours.end()));
    EXPECT_EQ(ours.size(), 7U);

    open_external("http://127.0.0.1:5270/");
    ASSERT_TRUE(eventually([&] { return path_exists(told); }));
    std::istringstream lines(read_whole_file(told, 65536).value_or(""));
    std::set<std::string> inherited;
    for (std::string line; std::getline(lines, line);)
        if (ours.contains(line)) inherited.insert(line);
    EXPECT_EQ(inherited, std::set<std::string>());
}

} // namespace
} // namespace elvantris::operator_control
