#include "tool/log_end.hpp"

#include "integration/support/temporary_folder.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

struct a_log {
    temporary_folder folder;
    std::string path = folder.file("x.log");

    log_end end_of(const std::string& text, std::size_t most) const {
        EXPECT_EQ(write_whole_file(path, text), write_outcome::written);
        return std::get<log_end>(read_log_end(path, most));
    }
};

} // namespace

TEST(log_end, is_all_of_a_short_log) {
    const a_log log;
    EXPECT_EQ(log.end_of("", 4).text, "");
    EXPECT_EQ(log.end_of("a\nb\n", 4).text, "a\nb\n");
    EXPECT_FALSE(log.end_of("a\nb\n", 4).older_left_out);
    EXPECT_EQ(log.end_of("a\nb", 4).text, "a\nb");
}

TEST(log_end, begins_with_a_whole_line) {
    const a_log log;
    EXPECT_EQ(log.end_of("aa\nbb\ncc\n", 6).text, "bb\ncc\n");
    EXPECT_EQ(log.end_of("aa\nbb\ncc\n", 5).text, "cc\n");
    EXPECT_TRUE(log.end_of("aa\nbb\ncc\n", 5).older_left_out);
    EXPECT_EQ(log.end_of("aa\nbb\ncc\n", 2).text, "");
}

TEST(log_end, is_bounded_though_there_is_no_line_end) {
    const a_log log;
    const log_end end = log.end_of("abcdefgh", 3);
    EXPECT_EQ(end.text, "fgh");
    EXPECT_TRUE(end.older_left_out);
}

TEST(log_end, tells_a_missing_log_from_an_unreadable_one) {
    const temporary_folder folder;
    EXPECT_EQ(std::get<read_failure>(read_log_end(folder.file("none"), 9)), read_failure::missing);
    EXPECT_EQ(std::get<read_failure>(read_log_end(folder.path(), 9)), read_failure::unreadable);
}
