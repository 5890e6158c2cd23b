// Reading what a server answered. The two exchanges read differently, and so there are two parsers.
//
// Pure: bytes in, value out. Failure: `status` 0 and an empty body.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace elvantris::operator_control {

struct http_response {
    std::int32_t status = 0; // 0: no usable response
    std::string body;
};

// Everything behind the headers is the body; no header is looked at. Such a body can have 32 MiB,
// so it takes over the text's memory.
http_response parse_plain_response(std::string text);

// Chunked coding is decoded and Content-Length is enforced: a truncated body is no response.
http_response parse_bounded_response(std::string_view text);

// The same for a text that the reader cut while more might have come: it is a response only if its
// framing shows it whole.
http_response parse_cut_response(std::string_view text);

// The payload of a chunked body, up to and including its last chunk; trailers are not read.
// Absent for a body that breaks the framing or ends without the chunk of size 0.
std::optional<std::string> decode_chunked(std::string_view body);

} // namespace elvantris::operator_control
