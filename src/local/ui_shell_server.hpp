#pragma once

#include "os/loopback_server.hpp"

#include <cstdint>
#include <string>
#include <string_view>

namespace elvantris::operator_control {

// The complete reply to what a browser sent first; its first line decides. Pure.
std::string answer_shell_request(std::string_view first_segment);

// Hands the browser the operator's page, and nothing else. Each connection that has sent something
// has a thread of its own that nobody waits for, so a slow browser delays nothing. At most 256 are
// open.
class ui_shell_server {
public:
    ui_shell_server();

    bool start(std::uint16_t port) { return server_.start(port); }
    void stop() { server_.stop(); }
    std::uint16_t port() const { return server_.port(); }

private:
    loopback_server server_;
};

} // namespace elvantris::operator_control
