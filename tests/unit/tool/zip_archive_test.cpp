#include "tool/zip_archive.hpp"

#include <gtest/gtest.h>

#include <algorithm>

using namespace elvantris::operator_control;

namespace {

std::size_t count_of(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

unsigned number_at(const std::string& archive, std::size_t place) {
    return static_cast<unsigned char>(archive.at(place)) +
           256U * static_cast<unsigned char>(archive.at(place + 1));
}

constexpr std::size_t length_of_end = 22;
constexpr std::size_t count_in_end = 10;
constexpr std::size_t time_in_entry = 10;

} // namespace

TEST(zip_archive, names_each_entry_in_front_of_it_and_in_the_directory) {
    const std::string text(100'000, 'x');
    const auto archive = write_zip({{.name = "one.txt", .bytes = text},
                                    {.name = "two.txt", .bytes = "abc"},
                                    {.name = "empty.txt", .bytes = ""}},
                                   "2026-03-01", "20:14:03");
    ASSERT_TRUE(archive);
    EXPECT_LT(archive->size(), 2000U) << "nothing was compressed";
    EXPECT_TRUE(archive->starts_with("PK\x03\x04"));
    for (const char* name : {"one.txt", "two.txt", "empty.txt"})
        EXPECT_EQ(count_of(*archive, name), 2U) << name;
    EXPECT_EQ(number_at(*archive, archive->size() - length_of_end + count_in_end), 3U);
}

TEST(zip_archive, dates_its_entries) {
    const auto archive = write_zip({{.name = "x", .bytes = "y"}}, "2026-03-01", "20:14:03");
    ASSERT_TRUE(archive);
    EXPECT_EQ(number_at(*archive, time_in_entry), (20U << 11) + (14U << 5) + 1);
    EXPECT_EQ(number_at(*archive, time_in_entry + 2), (46U << 9) + (3U << 5) + 1);
    EXPECT_TRUE(write_zip({{.name = "x", .bytes = "y"}}, "?", "?"));
}

TEST(zip_archive, may_be_empty) {
    const auto archive = write_zip({}, "2026-03-01", "20:14:03");
    ASSERT_TRUE(archive);
    EXPECT_EQ(archive->size(), length_of_end);
}
