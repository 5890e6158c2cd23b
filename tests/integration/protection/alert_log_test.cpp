#include "protection/alert_log.hpp"

#include "integration/support/temporary_folder.hpp"
#include "os/files.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

using namespace elvantris::operator_control;

TEST(alert_log, appends_one_object_a_line_with_every_text_escaped) {
    const temporary_folder folder;
    const std::string path = folder.file("alerts.jsonl");
    ASSERT_EQ(write_whole_file(path, "earlier\n"), write_outcome::written);
    alert_log log(path);
    log.fault(1700000000001, "M1:output:\"x\"", "two\nlines");
    log.recovered(1700000000002, "a\\b");
    log.action(1700000000003, "Test action / \"A\": sent");
    EXPECT_EQ(
        read_whole_file(path, 4096),
        "earlier\n"
        R"({"time":1700000000001,"event":"fault","key":"M1:output:\"x\"","message":"two\nlines"})"
        "\n"
        R"({"time":1700000000002,"event":"recovered","key":"a\\b"})"
        "\n"
        R"({"time":1700000000003,"event":"action","message":"Test action / \"A\": sent"})"
        "\n");
}

// A loss of power may leave the last line without its end, or zeros in its place.
TEST(alert_log, ends_a_line_that_an_earlier_run_has_left_torn) {
    const std::vector<std::string> torn_lines{"{\"time\":1,\"ev", std::string(5, '\0')};
    for (const std::string& torn : torn_lines) {
        const temporary_folder folder;
        const std::string path = folder.file("alerts.jsonl");
        ASSERT_EQ(write_whole_file(path, torn), write_outcome::written);
        alert_log log(path);
        log.recovered(2, "first");
        log.recovered(3, "last");
        EXPECT_EQ(read_whole_file(path, 4096), torn +
                                                   "\n"
                                                   R"({"time":2,"event":"recovered","key":"first"})"
                                                   "\n"
                                                   R"({"time":3,"event":"recovered","key":"last"})"
                                                   "\n");
    }
}

TEST(alert_log, costs_only_history_when_it_can_not_be_written) {
    const temporary_folder folder;
    const std::string path = folder.file("alerts.jsonl");
    std::filesystem::create_directory(path);
    alert_log log(path);
    log.fault(1, "k", "m");
    EXPECT_TRUE(std::filesystem::is_directory(path));
    std::filesystem::remove(path);
    log.recovered(2, "k");
    EXPECT_EQ(read_whole_file(path, 4096), R"({"time":2,"event":"recovered","key":"k"})"
                                           "\n");
}

TEST(alert_log, writes_the_lines_of_a_batch_at_its_end_and_in_their_order) {
    const temporary_folder folder;
    const std::string path = folder.file("alerts.jsonl");
    alert_log log(path);
    {
        const alert_log::batch lines(log);
        log.fault(1, "a", "m");
        log.recovered(1, "a");
        EXPECT_FALSE(std::filesystem::exists(path));
    }
    log.recovered(2, "b");
    EXPECT_EQ(read_whole_file(path, 4096), R"({"time":1,"event":"fault","key":"a","message":"m"})"
                                           "\n"
                                           R"({"time":1,"event":"recovered","key":"a"})"
                                           "\n"
                                           R"({"time":2,"event":"recovered","key":"b"})"
                                           "\n");
}

TEST(alert_log, does_not_touch_the_file_for_a_batch_without_lines) {
    const temporary_folder folder;
    const std::string path = folder.file("alerts.jsonl");
    alert_log log(path);
    { const alert_log::batch lines(log); }
    EXPECT_FALSE(std::filesystem::exists(path));
}
