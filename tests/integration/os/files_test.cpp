#include "os/files.hpp"

#include "integration/support/temporary_folder.hpp"
#include "os/file_paths.hpp"

#include <gtest/gtest.h>

#include <thread>

using namespace elvantris::operator_control;

namespace {

constexpr std::size_t ample = 1'000'000;

// Names that a file may have on both systems.
const std::vector<std::string> file_names = {"plain.json", "with blank.json",
                                             "\xc3\xbc\xe2\x82\xac\xf0\x9f\x98\x80.json"};

} // namespace

TEST(read_whole_file, says_why_there_is_no_content) {
    const temporary_folder folder;
    const std::string path = folder.file("files_test.txt");
    ASSERT_EQ(write_whole_file(path, "12345"), write_outcome::written);
    read_failure failure{};
    EXPECT_EQ(read_whole_file(path, 5), "12345");
    EXPECT_EQ(read_whole_file(path, 4, &failure), std::nullopt);
    EXPECT_EQ(failure, read_failure::too_large);
    EXPECT_EQ(read_whole_file(folder.path(), 5, &failure), std::nullopt);
    EXPECT_EQ(failure, read_failure::unreadable);
    for (const std::string& missing :
         {folder.file("none"), folder.file("none/x"), path_inside(path, "x"), std::string()}) {
        failure = read_failure::unreadable;
        EXPECT_EQ(read_whole_file(missing, 5, &failure), std::nullopt) << missing;
        EXPECT_EQ(failure, read_failure::missing) << missing;
    }
}

TEST(write_whole_file, keeps_every_byte_under_any_name) {
    std::string bytes = "\r\n\n\x1a";
    for (int byte = 0; byte < 256; ++byte)
        bytes += static_cast<char>(byte);
    const temporary_folder folder;
    for (const std::string& name : file_names) {
        const std::string path = folder.file(name);
        EXPECT_EQ(write_whole_file(path, bytes), write_outcome::written) << name;
        EXPECT_EQ(read_whole_file(path, ample), bytes) << name;
    }
}

TEST(write_whole_file, leaves_nothing_of_a_longer_file_that_stood_there) {
    const temporary_folder folder;
    const std::string path = folder.file("file");
    ASSERT_EQ(write_whole_file(path, std::string(200'000, 'x')), write_outcome::written);
    ASSERT_EQ(write_whole_file(path, "short"), write_outcome::written);
    EXPECT_EQ(read_whole_file(path, ample), "short");
    ASSERT_EQ(write_whole_file(path, ""), write_outcome::written);
    EXPECT_EQ(read_whole_file(path, ample), "");
}

TEST(write_whole_file, says_that_it_could_not_open_the_path) {
    const temporary_folder folder;
    EXPECT_EQ(write_whole_file(folder.path(), "x"), write_outcome::not_opened);
    EXPECT_EQ(write_whole_file(folder.file("no_folder/file"), "x"), write_outcome::not_opened);
    EXPECT_EQ(write_whole_file("", "x"), write_outcome::not_opened);
}

TEST(replace_file, puts_the_new_file_in_the_place_of_the_old_one) {
    const temporary_folder folder;
    for (const std::string& name : file_names) {
        const std::string path = folder.file(name);
        const std::string temporary = path + ".tmp";
        for (const std::string content : {"first", "second"}) {
            ASSERT_EQ(write_whole_file(temporary, content), write_outcome::written);
            EXPECT_TRUE(replace_file(temporary, path)) << name;
            EXPECT_EQ(read_whole_file(path, ample), content) << name;
            EXPECT_FALSE(path_exists(temporary)) << name;
        }
    }
}

TEST(replace_file, leaves_everything_as_it_is_where_it_fails) {
    const temporary_folder folder;
    const std::string path = folder.file("file");
    ASSERT_EQ(write_whole_file(path, "old"), write_outcome::written);
    EXPECT_FALSE(replace_file(folder.file("missing"), path));
    EXPECT_EQ(read_whole_file(path, ample), "old");

    const std::string taken = folder.file("folder");
    ASSERT_TRUE(create_folders(path_inside(taken, "inner")));
    EXPECT_FALSE(replace_file(path, taken));
    EXPECT_EQ(read_whole_file(path, ample), "old");
    EXPECT_TRUE(path_exists(path_inside(taken, "inner")));
}

TEST(replace_file, shows_a_reader_the_old_file_or_the_new_one) {
    const temporary_folder folder;
    const std::string path = folder.file("file");
    const std::string temporary = folder.file("file.tmp");
    const std::string old_content(100'000, 'a');
    const std::string new_content(100'000, 'b');
    ASSERT_EQ(write_whole_file(path, old_content), write_outcome::written);
    std::thread writer([&] {
        for (int i = 0; i < 20; ++i) {
            EXPECT_EQ(write_whole_file(temporary, i % 2 == 0 ? new_content : old_content),
                      write_outcome::written);
            // Windows refuses while the reader has the file open.
            replace_file(temporary, path);
        }
    });
    for (int i = 0; i < 200; ++i) {
        const auto content = read_whole_file(path, ample);
        EXPECT_TRUE(content == old_content || content == new_content);
    }
    writer.join();
}

TEST(keep_file_as, leaves_the_content_under_the_second_name_alone_once_the_first_is_replaced) {
    const temporary_folder folder;
    for (const std::string& name : file_names) {
        const std::string path = folder.file(name);
        const std::string second = path + ".kept";
        ASSERT_EQ(write_whole_file(path, "old"), write_outcome::written);
        EXPECT_TRUE(keep_file_as(path, second)) << name;
        EXPECT_EQ(read_whole_file(second, ample), "old") << name;
        ASSERT_EQ(write_whole_file(path + ".tmp", "new"), write_outcome::written);
        EXPECT_TRUE(replace_file(path + ".tmp", path));
        EXPECT_EQ(read_whole_file(second, ample), "old") << name;
        EXPECT_EQ(read_whole_file(path, ample), "new") << name;
    }
}

TEST(keep_file_as, replaces_nothing) {
    const temporary_folder folder;
    const std::string path = folder.file("new");
    const std::string taken = folder.file("taken");
    ASSERT_EQ(write_whole_file(path, "new"), write_outcome::written);
    ASSERT_EQ(write_whole_file(taken, "old"), write_outcome::written);
    EXPECT_FALSE(keep_file_as(path, taken));
    EXPECT_EQ(read_whole_file(taken, ample), "old");
    EXPECT_EQ(read_whole_file(path, ample), "new");
}

TEST(keep_file_as, leaves_a_folder_alone_and_needs_nothing_for_what_is_missing) {
    const temporary_folder folder;
    const std::string inner = folder.file("folder");
    ASSERT_TRUE(create_folders(inner));
    EXPECT_FALSE(keep_file_as(inner, folder.file("kept")));
    EXPECT_TRUE(path_exists(inner));
    EXPECT_TRUE(keep_file_as(folder.file("none"), folder.file("kept")));
    EXPECT_FALSE(path_exists(folder.file("kept")));
}

TEST(append_file, writes_at_the_end_that_the_file_has_now) {
    const temporary_folder folder;
    const std::string path = folder.file("log");
    append_file log;
    EXPECT_FALSE(log.write("before it is open"));
    ASSERT_TRUE(log.open(path));
    EXPECT_TRUE(log.write("first\n"));
    EXPECT_EQ(read_whole_file(path, ample), "first\n");
    ASSERT_EQ(write_whole_file(path, ""), write_outcome::written);
    EXPECT_TRUE(log.write("second\n"));
    append_file other;
    ASSERT_TRUE(other.open(path));
    EXPECT_TRUE(other.write("foreign\n"));
    EXPECT_TRUE(log.write("third\n"));
    EXPECT_EQ(read_whole_file(path, ample), "second\nforeign\nthird\n");
    log.close();
    EXPECT_FALSE(log.write("after it was closed"));
}

TEST(append_file, keeps_what_an_earlier_run_has_written) {
    const temporary_folder folder;
    const std::string path = folder.file("log");
    for (const std::string line : {"first run\n", "second run\n"}) {
        append_file log;
        ASSERT_TRUE(log.open(path));
        EXPECT_TRUE(log.write(line));
    }
    EXPECT_EQ(read_whole_file(path, ample), "first run\nsecond run\n");
}

TEST(append_file, says_that_a_folder_cannot_be_opened) {
    const temporary_folder folder;
    append_file log;
    EXPECT_FALSE(log.open(folder.path()));
    EXPECT_FALSE(log.write("x"));
}
