#include "protection/alert_log.hpp"

#include "integration/support/temporary_folder.hpp"
#include "os/files.hpp"

#include <gtest/gtest.h>

#include <filesystem>

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
