// Lines for which the disk has no room; a limit on the size of files plays the full disk.
#include "app/log_redirect.hpp"
#include "integration/support/temporary_folder.hpp"
#include "os/files.hpp"
#include "os/standard_streams.hpp"
#include "protection/alert_log.hpp"

#include <gtest/gtest.h>

#include <array>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace elvantris::operator_control;

namespace {

constexpr std::size_t ample = 1'000'000;

void with_files_of_at_most(std::size_t size, const std::function<void()>& act) {
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit small{.rlim_cur = size, .rlim_max = before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    act();
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
}

} // namespace

TEST(append_file, takes_a_torn_line_back_and_goes_on_when_there_is_room_again) {
    const temporary_folder folder;
    const std::string path = folder.file("log");
    append_file log;
    ASSERT_TRUE(log.open(path));
    ASSERT_TRUE(log.write("first\n"));
    for (std::size_t room = 0; room < 7; ++room)
        with_files_of_at_most(6 + room, [&] { EXPECT_FALSE(log.write("second\n")) << room; });
    EXPECT_EQ(read_whole_file(path, ample), "first\n");
    with_files_of_at_most(13, [&] { EXPECT_TRUE(log.write("second\n")); });
    EXPECT_TRUE(log.write("third\n"));
    EXPECT_EQ(read_whole_file(path, ample), "first\nsecond\nthird\n");
}

TEST(append_file, ends_a_torn_line_that_cannot_be_taken_back_before_the_next_one) {
    const temporary_folder folder;
    const std::string path = folder.file("log");
    // A pipe takes a part of what is too much for it, and can't be cut.
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    const int reader = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    const int room = ::fcntl(reader, F_SETPIPE_SZ, 4096);
    ASSERT_GT(room, 0);
    std::string content(static_cast<std::size_t>(room) + 1, '\0');
    const auto drained = [&] { return ::read(reader, content.data(), content.size()); };

    append_file log;
    ASSERT_TRUE(log.open(path));
    EXPECT_FALSE(log.write(std::string(content.size(), 'x') + '\n'));
    log.close();
    ASSERT_TRUE(log.open(path));
    EXPECT_FALSE(log.write("no room yet\n"));
    EXPECT_EQ(drained(), room);
    EXPECT_TRUE(log.write("next\n"));
    EXPECT_TRUE(log.write("last\n"));
    const auto size = drained();
    ASSERT_GT(size, 0);
    EXPECT_EQ(content.substr(0, static_cast<std::size_t>(size)), "\nnext\nlast\n");
    ::close(reader);
}

TEST(alert_log, leaves_out_a_line_for_which_the_disk_has_no_room) {
    const temporary_folder folder;
    const std::string path = folder.file("alerts.jsonl");
    alert_log log(path);
    log.recovered(1, "first");
    const auto size = std::filesystem::file_size(path);
    with_files_of_at_most(size + 20, [&] { log.fault(2, "torn", "message"); });
    EXPECT_EQ(std::filesystem::file_size(path), size);
    log.recovered(3, "last");
    EXPECT_EQ(read_whole_file(path, ample), R"({"time":1,"event":"recovered","key":"first"})"
                                            "\n"
                                            R"({"time":3,"event":"recovered","key":"last"})"
                                            "\n");
}

TEST(log_redirect, leaves_out_a_line_for_which_the_disk_has_no_room) {
    const temporary_folder folder;
    const std::string path = folder.file("operator-control.log");
    const log_redirect redirect(path, false);
    write_output_line("first");
    with_files_of_at_most(8, [] { write_error_line("torn"); });
    write_output_line("last");
    EXPECT_EQ(read_whole_file(path, ample), "first\nlast\n");
}
