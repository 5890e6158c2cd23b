// What becomes of a settings file that can't be read, whatever keeps it from being read.
#pragma once

#include "integration/support/captured_log.hpp"
#include "integration/support/temporary_folder.hpp"
#include "os/files.hpp"
#include "os/settings_file.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace elvantris::operator_control {

// What it gives keeps the file at this path from being read for as long as it lives.
using settings_block = std::function<std::shared_ptr<void>(const std::string& path)>;

class unreadable_settings : public testing::Test {
protected:
    static constexpr std::size_t ample = 1'000'000;
    static constexpr settings_file_rules rules{.is_whole = [](std::string_view) { return true; },
                                               .possible_loss = "much may be lost",
                                               .after_failure = failed_save::leaves_temporary_file};

    unreadable_settings() { EXPECT_EQ(write_whole_file(path, "{}"), write_outcome::written); }

    static void take_nothing(const std::string& text) { FAIL() << "taken: " << text; }
    std::optional<std::string> content() const { return read_whole_file(path, ample); }
    std::optional<std::string> kept() const {
        return read_whole_file(path + ".unreadable-1", ample);
    }

    void expect_not_saved_over_and_kept_once_it_can_be_read(const settings_block& block) {
        {
            const std::shared_ptr<void> blocked = block(path);
            read_failure failure{};
            EXPECT_EQ(read_whole_file(path, ample, &failure), std::nullopt);
            EXPECT_EQ(failure, read_failure::unreadable);
            file.load(take_nothing, call_limits{}.within(milliseconds(0)));
            EXPECT_FALSE(file.save([] { return "new"; }));
        }
        EXPECT_EQ(content(), "{}");
        EXPECT_NE(log.error().find(path + " could not be read;"), std::string::npos);
        EXPECT_TRUE(file.save([] { return "new"; }));
        EXPECT_EQ(kept(), "{}");
        EXPECT_EQ(content(), "new");
    }

    void expect_read_once_it_can_be(const settings_block& block) {
        std::shared_ptr<void> blocked = block(path);
        std::string taken;
        const call_limits limits{.given_up = [&] { // asked behind the first try
            blocked.reset();
            return false;
        }};
        file.load([&](const std::string& text) { taken = text; },
                  limits.within(std::chrono::hours(1)));
        EXPECT_EQ(taken, "{}");
        EXPECT_EQ(log.error(), "");
        EXPECT_TRUE(file.save([] { return "new"; }));
        EXPECT_EQ(kept(), std::nullopt);
    }

    void expect_left_alone_by_a_caller_that_ends(const settings_block& block) {
        std::shared_ptr<void> blocked = block(path);
        file.load(take_nothing, {.given_up = [] { return true; }});
        blocked.reset();
        EXPECT_EQ(content(), "{}");
        EXPECT_EQ(log.error(), "");
    }

    temporary_folder folder;
    const std::string path = folder.file("settings.json");
    const captured_log log;
    settings_file file{path, rules};
};

} // namespace elvantris::operator_control
