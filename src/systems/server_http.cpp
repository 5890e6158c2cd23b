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
constexpr std::size_t large_answer = 1'048'576;
// How much of what has arrived when the time is up is still read.
constexpr std::uint64_t late_read_limit = 262'144;

connect_attempt connect_to_any(const std::vector<socket_address>& addresses, milliseconds timeout,
                               const call_limits& limits) {
    connect_attempt attempt{.socket = {}, .failure = connect_failure::unanswered};
    for (const socket_address& address : addresses) {
        if (limits.over()) break;
        attempt = try_to_connect(address, timeout, limits);
        if (attempt.socket.valid()) break;
    }
    return attempt;
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
    std::uint64_t late = 0;
    while (text.size() < read_limit) {
        // The program may have been paused while the answer came: what has arrived is read, without
        // waiting for more.
        const bool over = limits.over();
        if (over && late >= late_read_limit) return {.text = std::move(text), .cut = true};
        const std::size_t received = receive_some(socket, buffer, timeout, limits);
        if (received == 0) return {.text = std::move(text), .cut = limits.over()};
        // Growing by doubling would hold a large answer twice; room that isn't used costs nothing.
        if (text.size() >= large_answer) text.reserve(read_limit + buffer.size());
        text.append(buffer.data(), received);
        if (over) late += received;
    }
    return {.text = std::move(text)};
}

struct exchanged_text {
    std::optional<received_text> received; // absent if the request didn't get out
    connect_failure failure = connect_failure::none;
};

exchanged_text exchange_text(const http_call& call, address_family family,
                             const std::string& host_header, std::uint64_t read_limit,
                             const call_limits& limits) {
    const auto addresses = resolve_address(call.host, call.port, family, transport::tcp, limits);
    const auto [socket, failure] = connect_to_any(addresses, call.timeout, limits);
    if (!socket.valid()) return {.received = std::nullopt, .failure = failure};
    if (!send_all(socket, request_text(call, host_header), call.timeout, limits))
        return {.received = std::nullopt, .failure = connect_failure::unanswered};
    return {.received = read_until_closed(socket, read_limit, call.timeout, limits)};
}

} // namespace

http_response http_exchange(const http_call& call, const call_limits& limits) {
    auto received =
        exchange_text(call, address_family::ipv4, call.host, plain_read_limit, limits).received;
    return received && !received->cut ? parse_plain_response(std::move(received->text))
                                      : http_response{};
}

http_response http_exchange_bounded(const http_call& call, std::uint64_t read_limit,
                                    const call_limits& limits) {
    return attempt_exchange_bounded(call, read_limit, limits).response;
}

http_response http_exchange_bounded(const http_call& call, std::uint64_t read_limit,
                                    milliseconds longest) {
    return http_exchange_bounded(call, read_limit, call_limits{}.within(longest));
}

attempted_exchange attempt_exchange_bounded(const http_call& call, std::uint64_t read_limit,
                                            const call_limits& limits) {
    const auto [received, failure] = exchange_text(
        call, address_family::any, call.host + ':' + std::to_string(call.port), read_limit, limits);
    if (!received) return {.response = {}, .failure = failure};
    return {.response = received->cut ? parse_cut_response(received->text)
                                      : parse_bounded_response(received->text)};
}

} // namespace elvantris::operator_control
