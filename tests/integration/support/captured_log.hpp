// The two streams of the log, kept while this lives. Any thread may write; make it before the
// threads that do, and let it go after them.
#pragma once

#include <iostream>
#include <mutex>
#include <streambuf>
#include <string>

namespace elvantris::operator_control {

class captured_log {
public:
    captured_log()
        : output_before_(std::cout.rdbuf(&output_)), error_before_(std::cerr.rdbuf(&error_)) {}
    ~captured_log() {
        std::cout.rdbuf(output_before_);
        std::cerr.rdbuf(error_before_);
    }
    captured_log(const captured_log&) = delete;
    captured_log& operator=(const captured_log&) = delete;
    captured_log(captured_log&&) = delete;
    captured_log& operator=(captured_log&&) = delete;

    std::string output() const { return output_.text(); }
    std::string error() const { return error_.text(); }

private:
    class locked_text : public std::streambuf {
    public:
        std::string text() const {
            const std::lock_guard lock(mutex_);
            return text_;
        }

    protected:
        std::streamsize xsputn(const char* bytes, std::streamsize count) override {
            const std::lock_guard lock(mutex_);
            text_.append(bytes, static_cast<std::size_t>(count));
            return count;
        }
        int_type overflow(int_type byte) override {
            const std::lock_guard lock(mutex_);
            if (!traits_type::eq_int_type(byte, traits_type::eof()))
                text_ += traits_type::to_char_type(byte);
            return traits_type::not_eof(byte);
        }

    private:
        mutable std::mutex mutex_;
        std::string text_;
    };

    locked_text output_;
    locked_text error_;
    std::streambuf* output_before_;
    std::streambuf* error_before_;
};

} // namespace elvantris::operator_control
