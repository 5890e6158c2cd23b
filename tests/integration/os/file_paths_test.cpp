#include "os/file_paths.hpp"

#include "integration/support/temporary_folder.hpp"
#include "os/files.hpp"

#include <gtest/gtest.h>

using namespace elvantris::operator_control;

TEST(parent_folder, is_the_path_without_its_last_part) {
    EXPECT_EQ(parent_folder("a/b/c.json"), "a/b");
    EXPECT_EQ(parent_folder("c.json"), "");
    EXPECT_EQ(parent_folder(""), "");
    const temporary_folder folder;
    EXPECT_EQ(parent_folder(folder.file("c.json")), folder.path());
}

TEST(path_inside, joins_a_folder_and_a_name) {
    EXPECT_EQ(path_inside("", "c.json"), "c.json");
    const std::string joined = path_inside("a", "c.json");
    EXPECT_TRUE(joined == "a/c.json" || joined == "a\\c.json") << joined;
    EXPECT_EQ(path_inside(joined, "").substr(0, joined.size()), joined);
}

TEST(create_folders, makes_all_parents_and_is_content_with_what_stands_already) {
    const temporary_folder folder;
    const std::string deep = folder.file("one/two/\xc3\xbc three");
    EXPECT_TRUE(create_folders(deep));
    EXPECT_TRUE(path_exists(deep));
    EXPECT_TRUE(create_folders(deep));
}

TEST(create_folders, fails_where_a_file_stands_in_the_way) {
    const temporary_folder folder;
    const std::string file = folder.file("file");
    ASSERT_EQ(write_whole_file(file, "x"), write_outcome::written);
    EXPECT_FALSE(create_folders(file));
    EXPECT_FALSE(create_folders(path_inside(file, "inner")));
    EXPECT_FALSE(create_folders(""));
}

TEST(copy_file_over, replaces_what_stands_there) {
    const temporary_folder folder;
    const std::string from = folder.file("from");
    const std::string to = folder.file("to");
    ASSERT_EQ(write_whole_file(from, "new"), write_outcome::written);
    ASSERT_EQ(write_whole_file(to, "old and longer"), write_outcome::written);
    EXPECT_TRUE(copy_file_over(from, to));
    EXPECT_EQ(read_whole_file(to, 100), "new");
    EXPECT_EQ(read_whole_file(from, 100), "new");
    EXPECT_FALSE(copy_file_over(folder.file("missing"), to));
    EXPECT_EQ(read_whole_file(to, 100), "new");
}

TEST(remove_file, is_content_with_what_is_gone_already) {
    const temporary_folder folder;
    const std::string path = folder.file("file");
    remove_file(path);
    ASSERT_EQ(write_whole_file(path, "x"), write_outcome::written);
    remove_file(path);
    EXPECT_FALSE(path_exists(path));
}
