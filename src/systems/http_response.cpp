#include "systems/http_response.hpp"

#include "text/scanning.hpp"

#include <algorithm>
#include <limits>
#include <utility>

namespace elvantris::operator_control {
namespace {

constexpr std::string_view line_end = "\r\n";
constexpr std::string_view header_end = "\r\n\r\n";

// ASCII alone; a locale must not decide what a header says.
std::string lower_case(std::string_view text) {
    std::string lowered(text);
    std::ranges::transform(lowered, lowered.begin(), [](char byte) {
        return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
    });
    return lowered;
}

struct response_parts {
    std::int32_t status = 0;
    std::optional<std::string_view> headers; // with the status line and the last line's end
    std::string_view raw_body;
};

response_parts split_response(std::string_view text) {
    response_parts parts;
    const std::size_t first_line_end = text.find(line_end);
    if (first_line_end == std::string_view::npos) return parts;
    const std::string_view code = split_first_two_tokens(text.substr(0, first_line_end)).second;
    if (const auto status = parse_integer<std::int32_t>(code)) parts.status = status->value;
    const std::size_t headers_end = text.find(header_end);
    if (headers_end == std::string_view::npos) return parts;
    parts.headers = text.substr(0, headers_end + line_end.size());
    parts.raw_body = text.substr(headers_end + header_end.size());
    return parts;
}

// Whether a header line of this name holds the value somewhere. `headers` is lower case.
bool header_line_holds(std::string_view headers, std::string_view name, std::string_view value) {
    std::size_t at = headers.find(name);
    while (at != std::string_view::npos) {
        std::size_t next = at + name.size();
        if (at == 0 || headers[at - 1] == '\n') {
            // A name further on in the same line has less of it to look at, and nothing new.
            next = std::min(headers.find(line_end, next), headers.size());
            if (headers.substr(at, next - at).find(value) != std::string_view::npos) return true;
        }
        at = headers.find(name, next);
    }
    return false;
}

// The first such text anywhere in the headers decides, even inside another header's value.
std::uint64_t content_length(std::string_view headers) {
    constexpr std::string_view name = "content-length:";
    const std::size_t at = headers.find(name);
    if (at == std::string_view::npos) return 0;
    const auto length = parse_integer<std::uint64_t>(headers.substr(at + name.size()));
    return length ? length->value : 0;
}

// Hexadecimal digits at the front of a size line; absent without one, saturating.
std::optional<std::uint64_t> parse_chunk_size(std::string_view line) {
    line = skip_white_space(line.substr(0, line.find(';')));
    std::optional<std::uint64_t> size;
    for (const char byte : line) {
        const int digit = hex_digit_value(byte);
        if (digit < 0) break;
        const bool full = size.value_or(0) > std::numeric_limits<std::uint64_t>::max() / 16;
        size = full ? std::numeric_limits<std::uint64_t>::max()
                    : size.value_or(0) * 16 + static_cast<std::uint64_t>(digit);
    }
    return size;
}

http_response parse_framed(std::string_view text, bool cut) {
    const response_parts parts = split_response(text);
    if (!parts.headers) return {.status = cut ? 0 : parts.status, .body = {}};

    const std::string headers = lower_case(*parts.headers);
    if (header_line_holds(headers, "transfer-encoding:", "chunked")) {
        std::optional<std::string> body = decode_chunked(parts.raw_body);
        if (!body) return {};
        return {.status = parts.status, .body = std::move(*body)};
    }
    const std::uint64_t length = content_length(headers);
    if (length > parts.raw_body.size() || (cut && length == 0)) return {};
    return {.status = parts.status,
            .body = std::string(length == 0 ? parts.raw_body : parts.raw_body.substr(0, length))};
}

} // namespace

http_response parse_plain_response(std::string text) {
    const response_parts parts = split_response(text);
    text.erase(0, text.size() - parts.raw_body.size());
    return {.status = parts.status, .body = std::move(text)};
}

http_response parse_bounded_response(std::string_view text) {
    return parse_framed(text, false);
}

http_response parse_cut_response(std::string_view text) {
    return parse_framed(text, true);
}

std::optional<std::string> decode_chunked(std::string_view body) {
    std::string decoded;
    while (true) {
        const std::size_t size_end = body.find(line_end);
        if (size_end == std::string_view::npos) return std::nullopt;
        const std::optional<std::uint64_t> size = parse_chunk_size(body.substr(0, size_end));
        if (!size) return std::nullopt;
        if (*size == 0) return decoded;
        body.remove_prefix(size_end + line_end.size());
        if (*size > body.size()) return std::nullopt;
        decoded.append(body.substr(0, *size));
        body.remove_prefix(*size);
        if (!body.starts_with(line_end)) return std::nullopt;
        body.remove_prefix(line_end.size());
    }
}

} // namespace elvantris::operator_control
