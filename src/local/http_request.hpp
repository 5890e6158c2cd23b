// Reading one request from a local client.
#pragma once

#include "os/sockets.hpp"

#include <atomic>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace elvantris::operator_control {

struct http_request {
    std::string method;
    std::string path; // with any query string left in it
    std::string body;
};

// Method and path of a request line; both empty if it holds none.
http_request parse_request_line(std::string_view line);

// Gathers a request as its pieces arrive. Pure.
class request_assembler {
public:
    // True once nothing more is to be read: the headers and the announced body are here, or 4 MiB.
    bool add(std::string_view bytes);

    // Absent without a request line that has a method and a path. A body is cut to its announced
    // length; only `Content-Length:` and `content-length:` announce one.
    std::optional<http_request> finish() const;

private:
    std::string text_;
    std::size_t searched_ = 0; // no header end begins before this
    std::optional<std::size_t> header_end_;
    std::uint32_t content_length_ = 0;
};

// False if the peer goes away first, if `running` ends, or for a garbled first line; the caller
// then hangs up without a reply. A silent peer is waited for as long as `running` holds.
bool read_http_request(const socket_handle& connection, const std::atomic<bool>& running,
                       http_request& request_out);

} // namespace elvantris::operator_control
