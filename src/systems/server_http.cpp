#include "systems/server_http.hpp"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>
#include <vector>

namespace elvantris::operator_control {
namespace {

constexpr std::uint64_t plain_read_limit = 33'554'432;
constexpr std::size_t read_buffer_size = 16'384;

// How long each single step of one exchange may wait. The clock of the whole starts here.
class step_limit {
public:
    step_limit(milliseconds timeout, std::optional<milliseconds> longest) : timeout_(timeout) {
        if (longest) deadline_ = steady_now() + *longest;
    }

    milliseconds now() const {
        if (!deadline_) return timeout_;
        const auto left = std::chrono::ceil<milliseconds>(*deadline_ - steady_now());
        return std::clamp(left, milliseconds::zero(), timeout_);
    }
    bool over() const { return deadline_ && steady_now() >= *deadline_; }

private:
    milliseconds timeout_;
    std::optional<steady_time> deadline_;
};

socket_handle connect_with_timeout(const std::vector<socket_address>& addresses,
                                   const step_limit& limit) {
    for (const socket_address& address : addresses) {
        if (limit.over()) break;
        if (socket_handle socket = connect_socket(address, limit.now()); socket.valid())
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

bool send_all(const socket_handle& socket, std::string_view bytes, const step_limit& limit) {
    while (!bytes.empty()) {
        const std::size_t sent = send_some(socket, bytes, limit.now());
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
                                const step_limit& limit) {
    std::string text;
    std::array<char, read_buffer_size> buffer{};
    while (text.size() < read_limit) {
        if (limit.over()) return {.text = std::move(text), .cut = true};
        const std::size_t received = receive_some(socket, buffer, limit.now());
        if (received == 0) return {.text = std::move(text), .cut = limit.over()};
        text.append(buffer.data(), received);
    }
    return {.text = std::move(text)};
}

// Absent if the request didn't get out; else all that came back.
std::optional<received_text> exchange_text(const http_call& call, address_family family,
                                           const std::string& host_header, std::uint64_t read_limit,
                                           std::optional<milliseconds> longest) {
    const auto addresses = resolve_address(call.host, call.port, family, transport::tcp);
    const step_limit limit(call.timeout, longest);
    const socket_handle socket = connect_with_timeout(addresses, limit);
    if (!socket.valid()) return std::nullopt;
    if (!send_all(socket, request_text(call, host_header), limit)) return std::nullopt;
    return read_until_closed(socket, read_limit, limit);
}

} // namespace

http_response http_exchange(const http_call& call) {
    const auto reply = exchange_text(call, address_family::ipv4, call.host, plain_read_limit, {});
    return reply ? parse_plain_response(reply->text) : http_response{};
}

http_response http_exchange_bounded(const http_call& call, std::uint64_t read_limit,
                                    std::optional<milliseconds> longest) {
    const auto reply =
        exchange_text(call, address_family::any, call.host + ':' + std::to_string(call.port),
                      read_limit, longest);
    if (!reply) return {};
    return reply->cut ? parse_cut_response(reply->text) : parse_bounded_response(reply->text);
}

} // namespace elvantris::operator_control
