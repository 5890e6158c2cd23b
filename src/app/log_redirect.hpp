// Sends standard output and standard error to the log file, for as long as the object lives.
//
// With a console wanted, or if the file can't be opened, the streams stay as they are. The file is
// appended to for ever; other programs may read, write and truncate it meanwhile.
// Threads: any may write to the streams. Constructed and destroyed on the first thread.
// Failure: none is reported, and nothing is thrown when memory is short: the stream would stay
//   failed. A line for which the disk has no room is lost as a whole; later lines are not.
#pragma once

#include "os/files.hpp"

#include <array>
#include <cstddef>
#include <memory>
#include <mutex>
#include <streambuf>
#include <string>
#include <string_view>

namespace elvantris::operator_control {

// A buffer that many threads may share: each write is taken whole, each flush goes to the file.
class log_buffer final : public std::streambuf {
public:
    log_buffer() = default;
    ~log_buffer() override;
    log_buffer(const log_buffer&) = delete;
    log_buffer& operator=(const log_buffer&) = delete;
    log_buffer(log_buffer&&) = delete;
    log_buffer& operator=(log_buffer&&) = delete;

    bool open(const std::string& path) { return file_.open(path); }

protected:
    int_type overflow(int_type byte) override;
    std::streamsize xsputn(const char* bytes, std::streamsize count) override;
    int sync() override;

private:
    void append(std::string_view bytes) noexcept;
    void flush() noexcept;

    std::mutex lock_; // guards all below; the file is written under it, line after line
    append_file file_;
    std::array<char, 65'536> pending_{}; // full, it is written without being asked
    std::size_t pending_size_ = 0;
};

class log_redirect {
public:
    log_redirect(const std::string& log_path, bool console);
    // Gives both streams their own buffers back, then closes the file.
    ~log_redirect();
    log_redirect(const log_redirect&) = delete;
    log_redirect& operator=(const log_redirect&) = delete;
    log_redirect(log_redirect&&) = delete;
    log_redirect& operator=(log_redirect&&) = delete;

private:
    std::unique_ptr<log_buffer> buffer_;
    std::streambuf* previous_output_ = nullptr;
    std::streambuf* previous_error_ = nullptr;
};

} // namespace elvantris::operator_control
