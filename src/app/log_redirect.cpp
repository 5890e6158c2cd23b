#include "app/log_redirect.hpp"

#include <iostream>

namespace elvantris::operator_control {
namespace {

constexpr std::size_t most_pending = 65'536;

} // namespace

log_buffer::~log_buffer() {
    flush();
}

log_buffer::int_type log_buffer::overflow(int_type byte) {
    if (!traits_type::eq_int_type(byte, traits_type::eof())) {
        const char character = traits_type::to_char_type(byte);
        const std::lock_guard lock(lock_);
        append(&character, 1);
    }
    return traits_type::not_eof(byte);
}

std::streamsize log_buffer::xsputn(const char* bytes, std::streamsize count) {
    const std::lock_guard lock(lock_);
    append(bytes, static_cast<std::size_t>(count));
    return count;
}

int log_buffer::sync() {
    const std::lock_guard lock(lock_);
    flush();
    return 0;
}

void log_buffer::append(const char* bytes, std::size_t count) {
    pending_.append(bytes, count);
    if (pending_.size() > most_pending) flush();
}

void log_buffer::flush() {
    // A failure must not reach the stream: it would stay failed after the disk has room again.
    if (!pending_.empty()) file_.write(pending_);
    pending_.clear();
}

log_redirect::log_redirect(const std::string& log_path, bool console) {
    if (console) return;
    auto buffer = std::make_unique<log_buffer>();
    if (!buffer->open(log_path)) return;
    buffer_ = std::move(buffer);
    previous_output_ = std::cout.rdbuf(buffer_.get());
    previous_error_ = std::cerr.rdbuf(buffer_.get());
}

log_redirect::~log_redirect() {
    if (!buffer_) return;
    std::cout.flush();
    std::cout.rdbuf(previous_output_);
    std::cerr.rdbuf(previous_error_);
}

} // namespace elvantris::operator_control
