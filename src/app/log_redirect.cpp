#include "app/log_redirect.hpp"

#include <algorithm>
#include <iostream>

namespace elvantris::operator_control {

log_buffer::~log_buffer() {
    flush();
}

log_buffer::int_type log_buffer::overflow(int_type byte) {
    if (!traits_type::eq_int_type(byte, traits_type::eof())) {
        const char character = traits_type::to_char_type(byte);
        const std::lock_guard lock(lock_);
        append({&character, 1});
    }
    return traits_type::not_eof(byte);
}

std::streamsize log_buffer::xsputn(const char* bytes, std::streamsize count) {
    const std::lock_guard lock(lock_);
    append({bytes, static_cast<std::size_t>(count)});
    return count;
}

int log_buffer::sync() {
    const std::lock_guard lock(lock_);
    flush();
    return 0;
}

void log_buffer::append(std::string_view bytes) noexcept {
    if (bytes.size() > pending_.size() - pending_size_) {
        flush();
        file_.write(bytes);
        return;
    }
    std::ranges::copy(bytes, pending_.begin() + static_cast<std::ptrdiff_t>(pending_size_));
    pending_size_ += bytes.size();
}

void log_buffer::flush() noexcept {
    // A failure must not reach the stream: it would stay failed after the disk has room again.
    if (pending_size_ > 0) file_.write({pending_.data(), pending_size_});
    pending_size_ = 0;
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
