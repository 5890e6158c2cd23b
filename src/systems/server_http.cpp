#include "systems/server_http.hpp"

#include <array>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace elvantris::operator_control {
namespace {

constexpr std::uint64_t plain_read_limit = 33'554'432;
constexpr std::size_t read_buffer_size = 16'384;

socket_handle connect_to_any(const std::vector<socket_address>& addresses, milliseconds timeout,
                             const call_limits& limits) {
    for (const socket_address& address : addresses) {
        if (limits.over()) break;
        if (socket_handle socket = connect_socket(address, timeout, limits); socket.valid())
            return socket;
    }
    return {};
}

std::string request_text(const http_call& call, const std::string& host_header) {
    std::string text = call.method + ' ' + call.path + " HTTP/1.1\r\nHost: " + host_header +
                       "\r\nConnection: close\r\nAccept: application/json,text/plain,*/*\r\n";
    if (!call.body.empty())
        text += "Content-Type: " + call.content_type +
                "\r\nContent-Length: " + std::to_string(call.body.size()) + "\r\n";
    return text + "\r\n" + call.body;
}

bool send_all(const socket_handle& socket, std::string_view bytes, milliseconds timeout,
              const call_limits& limits) {
    while (!bytes.empty()) {
        const std::size_t sent = send_some(socket, bytes, timeout, limits);
        if (sent == 0) return false;
        bytes.remove_prefix(sent);
    }
    return true;
}

struct received_text {
    std::string text;
    bool cut = false; // the whole exchange was over before the server had ended
};

received_text read_until_closed(const socket_handle& socket, std::uint64_t read_limit,
                                milliseconds timeout, const call_limits& limits) {
    std::string text;
    std::array<char, read_buffer_size> buffer{};
    while (text.size() < read_limit) {
        if (limits.over()) return {.text = std::move(text), .cut = true};
        const std::size_t received = receive_some(socket, buffer, timeout, limits);
        if (received == 0) return {.text = std::move(text), .cut = limits.over()};
        text.append(buffer.data(), received);
    }
    return {.text = std::move(text)};
}

// Absent if the request didn't get out; else all that came back.
std::optional<received_text> exchange_text(const http_call& call, address_family family,
                                           const std::string& host_header, std::uint64_t read_limit,
                                           const call_limits& limits) {
    const auto addresses = resolve_address(call.host, call.port, family, transport::tcp, limits);
    const socket_handle socket = connect_to_any(addresses, call.timeout, limits);
    if (!socket.valid()) return std::nullopt;
    if (!send_all(socket, request_text(call, host_header), call.timeout, limits))
        return std::nullopt;
    return read_until_closed(socket, read_limit, call.timeout, limits);
}

} // namespace

http_response http_exchange(const http_call& call, const call_limits& limits) {
    auto reply = exchange_text(call, address_family::ipv4, call.host, plain_read_limit, limits);
    return reply && !reply->cut ? parse_plain_response(std::move(reply->text)) : http_response{};
}

http_response http_exchange_bounded(const http_call& call, std::uint64_t read_limit,
                                    const call_limits& limits) {
    const auto reply = exchange_text(
        call, address_family::any, call.host + ':' + std::to_string(call.port), read_limit, limits);
    if (!reply) return {};
    return reply->cut ? parse_cut_response(reply->text) : parse_bounded_response(reply->text);
}

http_response http_exchange_bounded(const http_call& call, std::uint64_t read_limit,
                                    milliseconds longest) {
    return http_exchange_bounded(call, read_limit, call_limits{}.within(longest));
}

} // namespace elvantris::operator_control
