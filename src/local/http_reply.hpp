// Answering a local client.
//
// Failure: none is reported; a client that goes away loses its reply. A client that doesn't read
// is waited for as long as `running` holds.
#pragma once

#include "os/sockets.hpp"

#include <atomic>
#include <string>
#include <string_view>

namespace elvantris::operator_control {

// The whole reply of the API, headers in their fixed order. Pure.
std::string build_http_reply(int status, std::string_view content_type, std::string_view body);

void write_http_reply(const socket_handle& connection, const std::atomic<bool>& running, int status,
                      std::string_view content_type, std::string_view body);

} // namespace elvantris::operator_control
