// Requests and replies of HTTP/1.1 as far as the front in front of the web application needs them.
#pragma once

#include <optional>
#include <string>

namespace elvantris::simulator {

struct http_request {
    std::string head; // up to and including the empty line, as it came
    std::string path; // without the query
    std::string body;
};

struct http_reply {
    int status = 200;
    // Those that say nothing about length, coding or connection; each line with its end.
    std::string headers = "Content-Type: application/json\r\n";
    std::string body;
};

// The number of bytes that the request announces behind its head; absent if it is
// unreadable, or if the body comes in chunks, which no client of ours sends.
std::optional<std::size_t> announced_body_bytes(const std::string& head);

// Empty if the first line is no request line.
std::string request_path(const std::string& head);

// Takes the parts that a fault keeps. A text that is no reply gives status 502.
http_reply parse_reply(const std::string& text);

// Status line, the reply's own headers, `framing_line`, and the empty line.
std::string head_of(const http_reply& reply, const std::string& framing_line);

// The body in pieces of `chunk_bytes`, with the last, empty chunk.
std::string chunked_body(const std::string& body, std::size_t chunk_bytes);

} // namespace elvantris::simulator
