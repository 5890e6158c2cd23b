// Whole small files, and the two ways in which the program writes: replacing and appending.
//
// Paths are UTF-8 on both systems. A relative path begins at the current folder.
// Threads: any, for different paths.
// Failure: a value, never an exception; nothing is logged here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace elvantris::operator_control {

// Why there is no content. Only where the system says that nothing is under the name does a file
// count as missing; one that is held by another program, or is no file at all, is unreadable.
enum class read_failure { missing, unreadable, too_large };

// The whole content. Absent, with the cause in `failure`, if it can't be read or is longer than
// `limit` bytes.
std::optional<std::string> read_whole_file(const std::string& path, std::size_t limit,
                                           read_failure* failure = nullptr);

// Creates or truncates the file, writes all bytes and flushes them to the disk.
enum class write_outcome { written, not_opened, failed_after_opening };
write_outcome write_whole_file(const std::string& path, std::string_view bytes);

// Puts `from` in the place of `to` in one step: whoever reads `to` sees the old file or the new
// one, never a part. The step is written through to the disk where the file system lets us.
bool replace_file(const std::string& from, const std::string& to);

// Gives the file a second name, under which nothing may be yet. A file system without second names
// moves it there. A folder is left alone. True also if there is nothing under `path`.
bool keep_file_as(const std::string& path, const std::string& second_name);

// A file to append to while others may read, write and truncate it: each write lands at the end
// that the file has at that moment.
//
// If the disk has no room for a whole line, the file is cut to where it was. If that can't be done,
// for example because others have written since, the next line begins with a line end, so that it
// isn't joined to the incomplete one. This is remembered from one `open` to the next.
class append_file {
public:
    append_file() = default;
    ~append_file();
    append_file(const append_file&) = delete;
    append_file& operator=(const append_file&) = delete;
    append_file(append_file&&) = delete;
    append_file& operator=(append_file&&) = delete;

    // Creates the file if there is none.
    bool open(const std::string& path);
    // True only if all of the line is in the file.
    bool write(std::string_view line) noexcept;
    void close() noexcept;

private:
    std::intptr_t handle_ = -1;
    bool torn_ = false; // the file holds the beginning of a line that couldn't be cut off
};

} // namespace elvantris::operator_control
