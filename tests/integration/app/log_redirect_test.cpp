#include "app/log_redirect.hpp"

#include "integration/support/temporary_folder.hpp"
#include "os/file_paths.hpp"
#include "os/files.hpp"
#include "os/standard_streams.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <sstream>
#include <thread>

using namespace elvantris::operator_control;

namespace {

constexpr std::size_t ample = 64'000'000;

std::string content_of(const std::string& path) {
    return read_whole_file(path, ample).value_or("(no file)");
}

} // namespace

TEST(log_redirect, sends_both_streams_to_the_file_in_raw_bytes) {
    const temporary_folder folder;
    const std::string path = folder.file("operator-control.log");
    const log_redirect redirect(path, false);
    EXPECT_EQ(content_of(path), "");
    write_output_line("[status] B\xc3\xbchne");
    write_error_line("trouble\r");
    EXPECT_EQ(content_of(path), "[status] B\xc3\xbchne\ntrouble\r\n");
}

TEST(log_redirect, keeps_output_until_a_flush_and_writes_errors_at_once) {
    const temporary_folder folder;
    const std::string path = folder.file("operator-control.log");
    const log_redirect redirect(path, false);
    std::cout << "banner " << 1 << '\n';
    EXPECT_EQ(content_of(path), "");
    std::cerr << "error\n";
    EXPECT_EQ(content_of(path), "banner 1\nerror\n");
    std::cout << "second\n";
    EXPECT_EQ(content_of(path), "banner 1\nerror\n");
    std::cout.flush();
    EXPECT_EQ(content_of(path), "banner 1\nerror\nsecond\n");
}

TEST(log_redirect, writes_the_rest_at_its_end_and_gives_the_streams_back) {
    const temporary_folder folder;
    const std::string path = folder.file("operator-control.log");
    std::ostringstream before;
    std::streambuf* const own_output = std::cout.rdbuf(before.rdbuf());
    std::streambuf* const own_error = std::cerr.rdbuf(before.rdbuf());
    {
        const log_redirect redirect(path, false);
        std::cout << "inside";
    }
    EXPECT_EQ(std::cout.rdbuf(), before.rdbuf());
    EXPECT_EQ(std::cerr.rdbuf(), before.rdbuf());
    write_output_line("out");
    write_error_line("err");
    std::cout.rdbuf(own_output);
    std::cerr.rdbuf(own_error);
    EXPECT_EQ(content_of(path), "inside");
    EXPECT_EQ(before.str(), "out\nerr\n");
}

TEST(log_redirect, opens_no_file_for_a_console) {
    const temporary_folder folder;
    const std::string path = folder.file("operator-control.log");
    std::streambuf* const output = std::cout.rdbuf();
    std::streambuf* const error = std::cerr.rdbuf();
    const log_redirect redirect(path, true);
    EXPECT_EQ(std::cout.rdbuf(), output);
    EXPECT_EQ(std::cerr.rdbuf(), error);
    EXPECT_FALSE(path_exists(path));
}

TEST(log_redirect, leaves_the_streams_alone_if_the_file_cannot_be_opened) {
    const temporary_folder folder;
    std::streambuf* const output = std::cout.rdbuf();
    std::streambuf* const error = std::cerr.rdbuf();
    for (const std::string& path : {folder.path(), folder.file("missing/operator-control.log")}) {
        const log_redirect redirect(path, false);
        EXPECT_EQ(std::cout.rdbuf(), output) << path;
        EXPECT_EQ(std::cerr.rdbuf(), error) << path;
        EXPECT_FALSE(path_exists(folder.file("missing")));
    }
}

TEST(log_redirect, appends_one_run_to_the_other) {
    const temporary_folder folder;
    const std::string path = folder.file("operator-control.log");
    for (const char* const line : {"first run", "second run"}) {
        const log_redirect redirect(path, false);
        write_output_line(line);
    }
    EXPECT_EQ(content_of(path), "first run\nsecond run\n");
}

TEST(log_redirect, leaves_no_hole_after_others_have_truncated_or_extended_the_file) {
    const temporary_folder folder;
    const std::string path = folder.file("operator-control.log");
    const log_redirect redirect(path, false);
    write_output_line(std::string(10'000, 'x'));
    ASSERT_EQ(write_whole_file(path, ""), write_outcome::written);
    write_output_line("after");
    EXPECT_EQ(content_of(path), "after\n");
    append_file other;
    ASSERT_TRUE(other.open(path));
    ASSERT_TRUE(other.write("from outside\n"));
    write_error_line("last");
    EXPECT_EQ(content_of(path), "after\nfrom outside\nlast\n");
}

TEST(log_redirect, neither_loses_nor_tears_lines_of_many_threads) {
    constexpr std::size_t writers = 8;
    constexpr std::size_t lines_each = 400;
    const temporary_folder folder;
    const std::string path = folder.file("operator-control.log");
    const auto line_of = [](std::size_t writer, std::size_t number) {
        const std::size_t length = number == 200 ? 100'000 : number % 97;
        return std::to_string(writer) + ' ' + std::to_string(number) + ' ' +
               std::string(length, static_cast<char>('a' + writer));
    };
    {
        const log_redirect redirect(path, false);
        std::vector<std::thread> threads;
        for (std::size_t writer = 0; writer < writers; ++writer)
            threads.emplace_back([&line_of, writer] {
                for (std::size_t number = 0; number < lines_each; ++number) {
                    const std::string line = line_of(writer, number);
                    if (writer % 2 == 0)
                        write_output_line(line);
                    else
                        write_error_line(line);
                }
            });
        for (std::thread& thread : threads)
            thread.join();
    }
    std::istringstream log(content_of(path));
    std::vector<std::size_t> next(writers, 0);
    std::string line;
    while (std::getline(log, line)) {
        const std::size_t writer = line.empty() ? writers : static_cast<std::size_t>(line[0] - '0');
        ASSERT_LT(writer, writers) << line.substr(0, 100);
        ASSERT_EQ(line, line_of(writer, next[writer]));
        ++next[writer];
    }
    EXPECT_EQ(next, std::vector<std::size_t>(writers, lines_each));
}

TEST(log_redirect, takes_chains_of_many_threads_without_losing_a_byte) {
    constexpr int writers = 4;
    constexpr int chains_each = 500;
    const temporary_folder folder;
    const std::string path = folder.file("operator-control.log");
    {
        log_buffer buffer;
        ASSERT_TRUE(buffer.open(path));
        std::vector<std::thread> threads;
        for (int writer = 0; writer < writers; ++writer)
            threads.emplace_back([&buffer] {
                std::ostream stream(&buffer);
                for (int i = 0; i < chains_each; ++i)
                    (stream << "ab" << 12).put('\n').flush();
            });
        for (std::thread& thread : threads)
            thread.join();
    }
    const std::string content = content_of(path);
    EXPECT_EQ(content.size(), 5U * writers * chains_each);
    EXPECT_EQ(std::ranges::count(content, '\n'), writers * chains_each);
    EXPECT_EQ(std::ranges::count(content, '2'), writers * chains_each);
}

TEST(log_buffer, writes_without_being_asked_beyond_64_kib) {
    const temporary_folder folder;
    const std::string path = folder.file("operator-control.log");
    log_buffer buffer;
    ASSERT_TRUE(buffer.open(path));
    std::ostream stream(&buffer);
    stream << std::string(65'536, 'x');
    EXPECT_EQ(content_of(path).size(), 0U);
    stream.put('y');
    EXPECT_EQ(content_of(path).size(), 65'537U);
}

TEST(log_buffer, loses_what_the_disk_does_not_take_and_takes_what_comes_later) {
    const temporary_folder folder;
    const std::string path = folder.file("operator-control.log");
    log_buffer buffer;
    std::ostream stream(&buffer);
    stream << "lost\n" << std::string(70'000, 'x') << std::flush;
    EXPECT_TRUE(stream.good());
    ASSERT_TRUE(buffer.open(path));
    stream << "kept\n" << std::flush;
    EXPECT_EQ(content_of(path), "kept\n");
}
