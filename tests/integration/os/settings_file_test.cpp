#include "os/settings_file.hpp"

#include "integration/support/captured_log.hpp"
#include "integration/support/temporary_folder.hpp"
#include "os/file_paths.hpp"
#include "os/files.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <stdexcept>

using namespace elvantris::operator_control;
using namespace std::chrono_literals;

namespace {

constexpr std::size_t ample = 1'000'000;

// "whole" is the one whole text.
constexpr settings_file_rules rules{
    .is_whole = [](std::string_view text) { return text == "whole"; },
    .possible_loss = "much may be lost",
    .after_failure = failed_save::removes_temporary_file};

class settings_files : public testing::Test {
protected:
    void put(std::string_view content) const {
        ASSERT_EQ(write_whole_file(path, content), write_outcome::written);
    }
    std::optional<std::string> read_under(const std::string& name) const {
        return read_whole_file(name, ample);
    }
    std::optional<std::string> kept(int age) const {
        return read_under(path + ".unreadable-" + std::to_string(age));
    }
    // What the file gives when it is read once.
    static std::optional<std::string> taken_from(settings_file& file) {
        std::optional<std::string> taken;
        file.load([&](const std::string& text) { taken = text; }, call_limits{}.within(0ms));
        return taken;
    }
    static bool save(settings_file& file, const std::string& text) {
        return file.save([&] { return text; });
    }
    std::string line(const std::string& what_happened) const {
        return "[settings] " + path + what_happened +
               "; defaults take the place of what is missing, and much may be lost. It is kept "
               "as " +
               path + ".unreadable-1 before anything is saved over it.\n";
    }

    temporary_folder folder;
    std::string path = folder.file("settings.json");
    captured_log log;
};

} // namespace

TEST_F(settings_files, that_are_missing_give_nothing_at_once_and_are_saved_without_a_word) {
    settings_file file(path, rules);
    const steady_time before = steady_now();
    file.load([](const std::string&) { FAIL() << "nothing to take"; }, call_limits{}.within(1h));
    EXPECT_LT(steady_now() - before, 30min);
    EXPECT_TRUE(save(file, "new"));
    EXPECT_EQ(read_under(path), "new");
    EXPECT_EQ(kept(1), std::nullopt);
    EXPECT_EQ(log.error(), "");
}

TEST_F(settings_files, without_a_path_can_be_neither_loaded_nor_saved) {
    settings_file file("", rules);
    file.load([](const std::string&) { FAIL() << "nothing to take"; }, call_limits{}.within(1h));
    EXPECT_FALSE(save(file, "new"));
    EXPECT_FALSE(path_exists(".tmp"));
    EXPECT_EQ(log.error(), "");
}

TEST_F(settings_files, that_are_whole_are_replaced_without_a_word) {
    put("whole");
    settings_file file(path, rules);
    EXPECT_EQ(taken_from(file), "whole");
    EXPECT_TRUE(save(file, "new"));
    EXPECT_EQ(read_under(path), "new");
    EXPECT_EQ(kept(1), std::nullopt);
    EXPECT_EQ(log.error(), "");
}

// A power cut can leave a file with nothing in it, and a hold may have been there.
TEST_F(settings_files, that_are_empty_are_told_of) {
    put("");
    settings_file file(path, rules);
    EXPECT_EQ(taken_from(file), "");
    EXPECT_TRUE(save(file, "new"));
    EXPECT_EQ(kept(1), "");
    EXPECT_NE(log.error().find(path + " is damaged"), std::string::npos) << log.error();
}

TEST_F(settings_files, that_are_damaged_are_read_and_kept_before_the_first_save) {
    put("dam");
    settings_file file(path, rules);
    EXPECT_EQ(taken_from(file), "dam");
    EXPECT_EQ(log.error(), line(" is damaged"));
    EXPECT_EQ(kept(1), std::nullopt) << "a second instance only reads";
    EXPECT_TRUE(save(file, "first"));
    EXPECT_TRUE(save(file, "second"));
    EXPECT_EQ(kept(1), "dam");
    EXPECT_EQ(kept(2), std::nullopt);
    EXPECT_EQ(read_under(path), "second");
    EXPECT_EQ(log.error(), line(" is damaged"));
}

TEST_F(settings_files, that_are_too_large_are_kept_and_not_read) {
    put("x");
    std::filesystem::resize_file(path, largest_settings_file + 1);
    settings_file file(path, rules);
    EXPECT_EQ(taken_from(file), std::nullopt);
    EXPECT_EQ(log.error(), line(" is too large to be read"));
    EXPECT_TRUE(save(file, "new"));
    EXPECT_EQ(std::filesystem::file_size(path + ".unreadable-1"), largest_settings_file + 1);
    EXPECT_EQ(read_under(path), "new");
}

TEST_F(settings_files, keep_the_last_three_the_newest_under_the_first_name) {
    for (const char* const content : {"a", "b", "c", "d"}) {
        put(content);
        settings_file file(path, rules);
        taken_from(file);
        EXPECT_TRUE(save(file, "new"));
    }
    EXPECT_EQ(kept(1), "d");
    EXPECT_EQ(kept(2), "c");
    EXPECT_EQ(kept(3), "b");
    EXPECT_EQ(kept(4), std::nullopt);
}

TEST_F(settings_files, that_cannot_be_kept_are_not_saved_over_until_they_can) {
    std::filesystem::create_directory(path);
    settings_file file(path, rules);
    EXPECT_EQ(taken_from(file), std::nullopt);
    EXPECT_FALSE(save(file, "new"));
    EXPECT_FALSE(save(file, "new"));
    EXPECT_TRUE(std::filesystem::is_directory(path));
    EXPECT_EQ(log.error(), line(" could not be read"));

    std::filesystem::remove(path);
    put("what the folder hid");
    EXPECT_TRUE(save(file, "new"));
    EXPECT_EQ(kept(1), "what the folder hid");
    EXPECT_EQ(read_under(path), "new");
    EXPECT_EQ(log.error(), line(" could not be read"));
}

TEST_F(settings_files, leave_the_kept_ones_where_they_are_while_nothing_can_be_written) {
    put("dam");
    ASSERT_EQ(write_whole_file(path + ".unreadable-1", "older"), write_outcome::written);
    settings_file file(path, rules);
    taken_from(file);
    ASSERT_TRUE(create_folders(path + ".tmp"));
    for (int attempt = 0; attempt < 3; ++attempt)
        EXPECT_FALSE(save(file, "new"));
    EXPECT_EQ(kept(1), "older");
    EXPECT_EQ(kept(2), std::nullopt);
    EXPECT_EQ(read_under(path), "dam");
    std::filesystem::remove(path + ".tmp");
    EXPECT_TRUE(save(file, "new"));
    EXPECT_EQ(kept(1), "dam");
    EXPECT_EQ(kept(2), "older");
}

TEST_F(settings_files, whose_text_could_not_be_taken_count_as_unread) {
    put("whole");
    settings_file file(path, rules);
    file.load([](const std::string&) { throw std::bad_alloc(); }, call_limits{}.within(0ms));
    EXPECT_EQ(log.error(), line(" could not be read"));
    EXPECT_TRUE(save(file, "new"));
    EXPECT_EQ(kept(1), "whole");
}

TEST_F(settings_files, stay_as_they_are_where_no_text_can_be_made_or_it_could_not_be_read_again) {
    put("whole");
    settings_file file(path, rules);
    EXPECT_FALSE(file.save([]() -> std::string { throw std::bad_alloc(); }));
    EXPECT_FALSE(file.save([] { return std::string(largest_settings_file + 1, 'x'); }));
    EXPECT_EQ(read_under(path), "whole");
    EXPECT_FALSE(path_exists(path + ".tmp"));
}

TEST_F(settings_files, treat_the_temporary_file_of_a_failed_save_as_their_rules_say) {
    ASSERT_TRUE(create_folders(path_inside(path, "inner")));
    for (const failed_save after :
         {failed_save::removes_temporary_file, failed_save::leaves_temporary_file}) {
        settings_file_rules own = rules;
        own.after_failure = after;
        settings_file file(path, own);
        EXPECT_FALSE(save(file, "new"));
        EXPECT_EQ(path_exists(path + ".tmp"), after == failed_save::leaves_temporary_file);
    }
}
