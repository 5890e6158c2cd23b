// What keeps a file from being read on Linux: no descriptor, or no file at all under the name.
#include "os/settings_file.hpp"

#include "integration/support/captured_log.hpp"
#include "integration/support/linux/without_descriptors.hpp"
#include "integration/support/temporary_folder.hpp"
#include "os/files.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

constexpr std::size_t ample = 1'000'000;
constexpr settings_file_rules rules{.is_whole = [](std::string_view) { return true; },
                                    .possible_loss = "much may be lost",
                                    .after_failure = failed_save::leaves_temporary_file};

} // namespace

TEST(settings_file, that_cannot_be_opened_for_want_of_a_descriptor_is_kept) {
    const temporary_folder folder;
    const std::string path = folder.file("settings.json");
    ASSERT_EQ(write_whole_file(path, "{}"), write_outcome::written);
    const captured_log log;
    settings_file file(path, rules);
    {
        const without_descriptors none;
        file.load([](const std::string&) { FAIL() << "nothing can be read"; }, 0ms);
        EXPECT_FALSE(file.save([] { return "new"; }));
    }
    EXPECT_EQ(read_whole_file(path, ample), "{}");
    EXPECT_NE(log.error().find(path + " could not be read;"), std::string::npos);
    EXPECT_TRUE(file.save([] { return "new"; }));
    EXPECT_EQ(read_whole_file(path + ".unreadable-1", ample), "{}");
    EXPECT_EQ(read_whole_file(path, ample), "new");
}

TEST(settings_file, that_can_be_read_a_little_later_is_read_then) {
    const temporary_folder folder;
    const std::string path = folder.file("settings.json");
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    ASSERT_EQ(write_whole_file(path + ".real", "{}"), write_outcome::written);
    const captured_log log;
    settings_file file(path, rules);
    std::string taken;
    std::thread loader([&] { file.load([&](const std::string& text) { taken = text; }, 1h); });
    // Waits until the loader has opened the pipe, which is no file to read.
    const int writer = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_TRUE(replace_file(path + ".real", path));
    loader.join();
    ::close(writer);
    EXPECT_EQ(taken, "{}");
    EXPECT_EQ(log.error(), "");
    EXPECT_TRUE(file.save([] { return "new"; }));
    EXPECT_FALSE(std::filesystem::exists(path + ".unreadable-1"));
}

TEST(settings_file, gives_a_pipe_under_its_name_the_other_name) {
    const temporary_folder folder;
    const std::string path = folder.file("settings.json");
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    const captured_log log;
    settings_file file(path, rules);
    file.load([](const std::string&) { FAIL() << "nothing can be read"; }, 0ms);
    EXPECT_TRUE(file.save([] { return "new"; }));
    EXPECT_TRUE(std::filesystem::is_fifo(path + ".unreadable-1"));
    EXPECT_EQ(read_whole_file(path, ample), "new");
}

TEST(settings_file, keeps_a_damaged_file_under_its_own_name_while_the_disk_is_full) {
    const temporary_folder folder;
    const std::string path = folder.file("settings.json");
    ASSERT_EQ(write_whole_file(path, "torn"), write_outcome::written);
    settings_file_rules own = rules;
    own.is_whole = [](std::string_view) { return false; };
    const captured_log log;
    settings_file file(path, own);
    file.load([](const std::string&) {}, 0ms);
    std::filesystem::create_symlink("/dev/full", path + ".tmp");
    EXPECT_FALSE(file.save([] { return "new"; }));
    EXPECT_EQ(read_whole_file(path, ample), "torn");
    EXPECT_FALSE(std::filesystem::exists(path + ".unreadable-1"));
}
