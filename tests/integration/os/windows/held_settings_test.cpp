// A settings file that another process holds and shares with nobody, as virus scanners do at logon.
#include "os/settings_file.hpp"

#include "integration/support/captured_log.hpp"
#include "integration/support/temporary_folder.hpp"
#include "os/files.hpp"

#include <gtest/gtest.h>

#include <thread>
#include <windows.h>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

constexpr std::size_t ample = 1'000'000;
constexpr settings_file_rules rules{.is_whole = [](std::string_view) { return true; },
                                    .possible_loss = "much may be lost",
                                    .after_failure = failed_save::leaves_temporary_file};

HANDLE hold(const std::string& path) {
    return ::CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                         FILE_ATTRIBUTE_NORMAL, nullptr);
}

} // namespace

TEST(settings_file, that_is_held_is_not_saved_over_and_is_kept_once_it_is_let_go) {
    const temporary_folder folder;
    const std::string path = folder.file("settings.json");
    ASSERT_EQ(write_whole_file(path, "{}"), write_outcome::written);
    const captured_log log;
    settings_file file(path, rules);
    const HANDLE held = hold(path);
    ASSERT_NE(held, INVALID_HANDLE_VALUE);
    read_failure failure{};
    EXPECT_EQ(read_whole_file(path, ample, &failure), std::nullopt);
    EXPECT_EQ(failure, read_failure::unreadable);
    file.load([](const std::string&) { FAIL() << "nothing can be read"; }, 0ms);
    EXPECT_FALSE(file.save([] { return "new"; }));
    ::CloseHandle(held);
    EXPECT_EQ(read_whole_file(path, ample), "{}");
    EXPECT_NE(log.error().find(path + " could not be read;"), std::string::npos);
    EXPECT_TRUE(file.save([] { return "new"; }));
    EXPECT_EQ(read_whole_file(path + ".unreadable-1", ample), "{}");
    EXPECT_EQ(read_whole_file(path, ample), "new");
}

TEST(settings_file, that_is_let_go_a_little_later_is_read_then) {
    const temporary_folder folder;
    const std::string path = folder.file("settings.json");
    ASSERT_EQ(write_whole_file(path, "{}"), write_outcome::written);
    const captured_log log;
    settings_file file(path, rules);
    const HANDLE held = hold(path);
    ASSERT_NE(held, INVALID_HANDLE_VALUE);
    std::string taken;
    std::thread loader([&] { file.load([&](const std::string& text) { taken = text; }, 1h); });
    ::CloseHandle(held);
    loader.join();
    EXPECT_EQ(taken, "{}");
    EXPECT_EQ(log.error(), "");
}
