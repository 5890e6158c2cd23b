#include "tool/log_facts.hpp"

#include "integration/support/temporary_folder.hpp"
#include "os/files.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

constexpr std::size_t piece = 262'144; // in which the log is read, from its end on

std::string with_log(const temporary_folder& folder, const std::string& text) {
    const std::string path = folder.file("log");
    EXPECT_EQ(write_whole_file(path, text), write_outcome::written);
    return path;
}

} // namespace

TEST(last_started_version, is_found_wherever_the_pieces_are_cut) {
    const temporary_folder folder;
    const std::string start = "x\nElvantris Redundancy Control 1.2.3\n";
    for (std::size_t behind = piece - start.size() - 1; behind <= piece + 1; ++behind)
        ASSERT_EQ(last_started_version(with_log(folder, start + std::string(behind, 'y'))), "1.2.3")
            << behind;
}

TEST(last_started_version, is_absent_without_a_start) {
    const temporary_folder folder;
    EXPECT_EQ(last_started_version(with_log(folder, "")), std::nullopt);
    EXPECT_EQ(last_started_version(with_log(folder, "[status] enabled=true\n")), std::nullopt);
    EXPECT_EQ(last_started_version(folder.file("none")), std::nullopt);
    EXPECT_EQ(last_started_version(folder.path()), std::nullopt);
}

TEST(measure_alert_log, has_the_times_of_its_first_and_last_whole_lines) {
    const temporary_folder folder;
    const std::string line = R"(,"event":"recovered","key":"k"})"
                             "\n";
    const std::string day = "{\"time\":100" + line + std::string(2 * piece, 'z') +
                            "\n{\"time\":86400100" + line + "{\"time\":9";
    const log_facts facts = measure_alert_log(with_log(folder, day));
    EXPECT_EQ(facts.bytes, day.size());
    EXPECT_EQ(facts.newest, 86'400'100);
    EXPECT_EQ(facts.per_day, day.size());
}

TEST(measure_alert_log, tells_nothing_of_one_that_is_not_there) {
    const temporary_folder folder;
    const log_facts facts = measure_alert_log(folder.file("none"));
    EXPECT_EQ(facts.bytes, 0U);
    EXPECT_EQ(facts.newest, std::nullopt);
    EXPECT_EQ(facts.per_day, std::nullopt);
}
