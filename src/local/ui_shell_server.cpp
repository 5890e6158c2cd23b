#include "local/ui_shell_server.hpp"

#include "local/http_request.hpp"
#include "local/page.hpp"

#include <array>
#include <exception>
#include <thread>

namespace elvantris::operator_control {
namespace {

constexpr loopback_limits shell_limits{.backlog = 64, .connections = 256, .spare_descriptors = 48};
constexpr std::size_t longest_first_segment = 16'383;
constexpr milliseconds no_limit{-1};

constexpr std::string_view redirect_reply =
    "HTTP/1.1 302 Found\r\nServer: Elvantris Redundancy Control\r\nLocation: /\r\n"
    "Cache-Control: no-store\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
constexpr std::string_view not_allowed_reply =
    "HTTP/1.1 405 Method Not Allowed\r\nServer: Elvantris Redundancy Control\r\nAllow: GET\r\n"
    "Content-Length: 0\r\nConnection: close\r\n\r\n";

std::string build_shell_reply(std::string_view body) {
    return "HTTP/1.1 200 OK\r\nServer: Elvantris Redundancy Control\r\n"
           "Content-Type: text/html; charset=utf-8\r\nContent-Length: " +
           std::to_string(body.size()) +
           "\r\nConnection: close\r\nCache-Control: no-store\r\n\r\n" + std::string(body);
}

void serve(const socket_handle& connection) {
    std::array<char, longest_first_segment> segment{};
    const std::size_t received = receive_some(connection, segment, no_limit);
    if (received == 0) return;
    const std::string reply = answer_shell_request({segment.data(), received});
    std::string_view rest = reply;
    while (!rest.empty()) {
        const std::size_t sent = send_some(connection, rest, no_limit);
        if (sent == 0) return;
        rest.remove_prefix(sent);
    }
}

void serve_alone(const socket_handle& connection) noexcept {
    try {
        serve(connection);
    } catch (...) {
        // No memory for a page: the browser finds its connection closed, and the program lives on.
        return;
    }
}

} // namespace

std::string answer_shell_request(std::string_view first_segment) {
    const http_request request =
        parse_request_line(first_segment.substr(0, first_segment.find("\r\n")));
    if (request.method != "GET") return std::string(not_allowed_reply);
    if (request.path == "/" || request.path.starts_with("/?"))
        return build_shell_reply(build_shell_page());
    return std::string(redirect_reply);
}

ui_shell_server::ui_shell_server()
    : server_(shell_limits, [](loopback_connection connection) {
          try {
              std::thread([owned = std::move(connection)] { serve_alone(owned.socket); }).detach();
          } catch (const std::exception&) {
              // No thread to be had: the browser finds its connection closed and asks again.
              return;
          }
      }) {}

} // namespace elvantris::operator_control
