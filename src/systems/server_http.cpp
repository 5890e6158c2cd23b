#include "systems/server_http.hpp"

#include <algorithm>
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
    network_failure failure =
        addresses.empty() ? network_failure::unanswered : network_failure::none;
    for (const socket_address& address : addresses) {
        connect_attempt attempt =
            limits.over() ? connect_attempt{.socket = {}, .failure = network_failure::unanswered}
                          : try_to_connect(address, timeout, limits);
        if (attempt.socket.valid()) return attempt;
        failure = graver_of(failure, attempt.failure);
    }
    return {.socket = {}, .failure = failure};
}

std::string request_text(const http_call& call, const std::string& host_header) {
    std::string text = call.method + ' ' + call.path + " HTTP/1.1\r\nHost: " + host_header +
                       "\r\nConnection: close\r\nAccept: application/json,text/plain,*/*\r\n";
    if (!call.body.empty())
        text += "Content-Type: " + call.content_type +
                "\r\nContent-Length: " + std::to_string(call.body.size()) + "\r\n";
    return text + "\r\n" + call.body;
}

network_failure send_all(const socket_handle& socket, std::string_view bytes, milliseconds timeout,
                         const call_limits& limits) {
    while (!bytes.empty()) {
        const auto [sent, failure] = try_to_send(socket, bytes, timeout, limits);
        if (failure != network_failure::none) return failure;
        bytes.remove_prefix(sent);
    }
    return network_failure::none;
}

struct received_text {
    std::string text;
    receive_result end = receive_result::received; // or what kept more from being read
    bool cut = false; // the whole exchange was over before the server had ended
};

received_text read_until_closed(const socket_handle& socket, std::uint64_t read_limit,
                                milliseconds timeout, const call_limits& limits) {
    received_text read;
    std::array<char, read_buffer_size> buffer{};
    std::uint64_t late = 0;
    while (read.text.size() < read_limit) {
        // The program may have been paused while the answer came: what has arrived is read, the
        // server's end as well, without waiting for more.
        const bool over = limits.over();
        read.cut = over && late >= late_read_limit;
        if (read.cut) return read;
        const auto [received, result] = try_to_receive(socket, buffer, timeout, limits);
        if (result != receive_result::received) {
            read.end = result;
            read.cut = result == receive_result::nothing_yet && limits.over();
            return read;
        }
        // Growing by doubling would hold a large answer twice; room that isn't used costs nothing.
        if (read.text.size() >= large_answer) read.text.reserve(read_limit + buffer.size());
        read.text.append(buffer.data(), received);
        if (over) late += received;
    }
    return read;
}

struct exchanged_text {
    std::optional<received_text> received; // absent if the request didn't get out
    // What kept the request from getting out, or more of the answer from being read.
    network_failure failure = network_failure::none;
    std::vector<socket_address> addresses; // the server's
};

exchanged_text exchange_text(const http_call& call, address_family family,
                             const std::string& host_header, std::uint64_t read_limit,
                             const call_limits& limits) {
    auto [addresses, failure] =
        try_to_resolve(call.host, call.port, family, transport::tcp, limits);
    socket_handle socket;
    if (failure == network_failure::none) {
        connect_attempt attempt = connect_to_any(addresses, call.timeout, limits);
        socket = std::move(attempt.socket);
        failure = attempt.failure;
    }
    if (failure == network_failure::none)
        failure = send_all(socket, request_text(call, host_header), call.timeout, limits);
    exchanged_text exchanged{.received = {}, .failure = failure, .addresses = std::move(addresses)};
    if (failure != network_failure::none) return exchanged;
    exchanged.received = read_until_closed(socket, read_limit, call.timeout, limits);
    if (exchanged.received->end == receive_result::no_resources)
        exchanged.failure = network_failure::no_resources;
    return exchanged;
}

// Why an exchange gave no usable response. Where nothing failed here, the server sent none.
network_failure cause_of(const exchanged_text& exchanged) {
    const auto& [received, failure, addresses] = exchanged;
    if (failure == network_failure::no_network || failure == network_failure::no_resources)
        return failure;
    const bool cut_off = !addresses.empty() && std::ranges::none_of(addresses, has_way_to);
    return cut_off ? network_failure::no_network : network_failure::unanswered;
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
    const exchanged_text exchanged = exchange_text(
        call, address_family::any, call.host + ':' + std::to_string(call.port), read_limit, limits);
    attempted_exchange attempt;
    if (const auto& received = exchanged.received) {
        const bool more_may_have_come =
            received->cut || received->end == receive_result::no_resources;
        attempt.response = more_may_have_come ? parse_cut_response(received->text)
                                              : parse_bounded_response(received->text);
    }
    if (attempt.response.status == 0) attempt.failure = cause_of(exchanged);
    return attempt;
}

} // namespace elvantris::operator_control
