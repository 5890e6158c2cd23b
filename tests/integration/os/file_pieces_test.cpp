#include "os/file_pieces.hpp"

#include "integration/support/temporary_folder.hpp"
#include "os/file_paths.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

namespace {

std::string read_from(const file_pieces& file, std::uint64_t place, std::size_t most) {
    std::string buffer(most, '\0');
    const auto size = file.read_at(place, buffer);
    return size ? buffer.substr(0, *size) : "nothing";
}

} // namespace

TEST(file_pieces, read_from_any_place_up_to_the_end) {
    const temporary_folder folder;
    const std::string path = folder.file("\xc3\xbc pieces.txt");
    ASSERT_EQ(write_whole_file(path, "0123\n56789"), write_outcome::written);
    file_pieces file;
    ASSERT_FALSE(file.open(path));
    EXPECT_EQ(file.size(), 10U);
    EXPECT_EQ(read_from(file, 0, 4), "0123");
    EXPECT_EQ(read_from(file, 4, 100), "\n56789");
    EXPECT_EQ(read_from(file, 10, 4), "");
    EXPECT_EQ(read_from(file, 5'000'000'000, 4), "");
}

TEST(file_pieces, follow_a_file_that_grows_or_is_replaced) {
    const temporary_folder folder;
    const std::string path = folder.file("pieces.txt");
    ASSERT_EQ(write_whole_file(path, "1"), write_outcome::written);
    file_pieces file;
    ASSERT_FALSE(file.open(path));
    append_file other;
    ASSERT_TRUE(other.open(path));
    ASSERT_TRUE(other.write("2"));
    EXPECT_EQ(file.size(), 2U);
    EXPECT_EQ(read_from(file, 0, 4), "12");
    ASSERT_FALSE(file.open(path)) << "a second time";
    EXPECT_EQ(read_from(file, 1, 4), "2");
}

TEST(file_pieces, say_why_there_are_none) {
    const temporary_folder folder;
    file_pieces file;
    EXPECT_EQ(file.open(folder.file("none")), read_failure::missing);
    EXPECT_EQ(file.open(folder.file("none/x")), read_failure::missing);
    EXPECT_EQ(file.open(folder.path()), read_failure::unreadable);
}

TEST(is_same_file, knows_one_file_by_two_names) {
    const temporary_folder folder;
    const std::string path = folder.file("a.json");
    ASSERT_EQ(write_whole_file(path, "1"), write_outcome::written);
    ASSERT_EQ(write_whole_file(folder.file("b.json"), "1"), write_outcome::written);
    EXPECT_TRUE(is_same_file(path, path_inside(path_inside(folder.path(), "."), "a.json")));
    EXPECT_FALSE(is_same_file(path, folder.file("b.json")));
    EXPECT_FALSE(is_same_file(path, folder.file("none")));
    EXPECT_FALSE(is_same_file(folder.file("none"), folder.file("none")));
}

TEST(free_bytes, are_known_for_a_folder_that_exists) {
    const temporary_folder folder;
    EXPECT_GT(free_bytes(folder.path()).value_or(0), 0U);
    EXPECT_FALSE(free_bytes(folder.file("none/deeper")));
}
