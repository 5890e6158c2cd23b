#include "local/http_request.hpp"

#include "text/scanning.hpp"

#include <algorithm>
#include <array>

namespace elvantris::operator_control {
namespace {

constexpr std::string_view line_end = "\r\n";
constexpr std::string_view header_end_text = "\r\n\r\n";
constexpr std::size_t longest_request = 4'194'304;
constexpr std::size_t read_size = 8192;
constexpr milliseconds stop_check_while_reading{100};

std::uint32_t announced_length(std::string_view headers) {
    std::size_t at = headers.find("Content-Length:");
    if (at == std::string_view::npos) at = headers.find("content-length:");
    if (at == std::string_view::npos) return 0;
    const auto length = parse_integer<std::uint32_t>(headers.substr(at + 15));
    return length && !length->overflowed ? length->value : 0;
}

} // namespace

http_request parse_request_line(std::string_view line) {
    const first_two_tokens tokens = split_first_two_tokens(line);
    return {.method = std::string(tokens.first), .path = std::string(tokens.second), .body = {}};
}

bool request_assembler::add(std::string_view bytes) {
    text_.append(bytes);
    if (!header_end_) {
        const std::size_t found = text_.find(header_end_text, searched_);
        searched_ = text_.size() - std::min(text_.size(), header_end_text.size() - 1);
        if (found != std::string::npos) {
            header_end_ = found;
            content_length_ = announced_length(std::string_view(text_).substr(0, found));
        }
    }
    const bool complete =
        header_end_ && text_.size() >= *header_end_ + header_end_text.size() + content_length_;
    return complete || text_.size() >= longest_request;
}

std::optional<http_request> request_assembler::finish() const {
    const std::size_t first_line_end = text_.find(line_end);
    if (first_line_end == std::string::npos) return std::nullopt;
    http_request request = parse_request_line(std::string_view(text_).substr(0, first_line_end));
    if (request.method.empty() || request.path.empty()) return std::nullopt;
    if (header_end_ && content_length_ != 0)
        request.body = text_.substr(*header_end_ + header_end_text.size(), content_length_);
    return request;
}

bool read_http_request(const socket_handle& connection, const std::atomic<bool>& running,
                       http_request& request_out) {
    request_assembler assembler;
    std::array<char, read_size> buffer{};
    while (true) {
        while (!wait_readable(connection, stop_check_while_reading))
            if (!running) return false;
        const std::size_t received = receive_some(connection, buffer, milliseconds::zero());
        if (received == 0) return false;
        if (assembler.add({buffer.data(), received})) break;
    }
    std::optional<http_request> request = assembler.finish();
    if (!request) return false;
    request_out = std::move(*request);
    return true;
}

} // namespace elvantris::operator_control
