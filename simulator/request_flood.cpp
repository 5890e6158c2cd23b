// Sends malformed requests to two ports of this host, at a rate and for a time.
#include "arguments.hpp"
#include "program_end.hpp"
#include "socket_calls.hpp"

#include <array>
#include <cstdio>
#include <list>
#include <thread>
#include <vector>

namespace elvantris::simulator {

namespace {

using clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

struct flood_options {
    std::uint16_t first_port = 5251;
    std::uint16_t second_port = 5270;
    std::uint16_t per_second = 2000;
    std::uint16_t for_ms = 10'000;
};

flood_options read_flood_options(int count, char** values) {
    argument_list arguments(count, values);
    flood_options options;
    arguments.take("first-port", options.first_port);
    arguments.take("second-port", options.second_port);
    arguments.take("per-second", options.per_second);
    arguments.take("for-ms", options.for_ms);
    arguments.finish();
    return options;
}

constexpr std::array<std::string_view, 8> malformed{
    "\r\n\r\n",
    "GET\r\n\r\n",
    "GET /api/statu",
    "POST /api/configure HTTP/1.1\r\nContent-Length: 99999999999999999999\r\n\r\n{\"enabled\":",
    "POST /api/protection HTTP/1.1\r\nContent-Length: 9\r\n\r\n[[[[[[[[[",
    "POST /api/route HTTP/1.1\r\nContent-Length: -1\r\n\r\n{\"payload\":\"\\",
    "OPTIONS * HTTP/1.1\r\n\r\n",
    "\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03",
};

// Who isn't served soon gives up, or the rate could not be kept.
constexpr milliseconds longest_open{400};
constexpr std::size_t most_open = 900;

struct open_request {
    socket_handle socket;
    std::string_view text;
    clock::time_point begin;
    bool sent = false;
};

struct counts {
    std::int64_t sent = 0;
    std::int64_t ended = 0;
    std::int64_t given_up = 0;
    std::int64_t left_out = 0;
};

socket_handle begin_connection(std::uint16_t port) {
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(port);
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socket_handle result(open_socket(SOCK_STREAM));
    // So many connections would use up the ports of this host if each were kept after its end.
    reset_when_closed(result.get());
    // A refusal shows at the first write.
    static_cast<void>(
        ::connect(of_system(result.get()), reinterpret_cast<const sockaddr*>(&to), sizeof to));
    return result;
}

// False: it is over.
bool go_on(open_request& request, short events, counts& total) {
    if (!request.sent) {
        if ((events & (POLLERR | POLLHUP)) != 0) return false;
        if ((events & POLLOUT) == 0) return true;
        send_now(request.socket.get(), request.text);
        ::shutdown(of_system(request.socket.get()), SHUT_WR);
        request.sent = true;
        ++total.sent;
        return true;
    }
    if ((events & (POLLIN | POLLERR | POLLHUP)) == 0) return true;
    std::array<char, 4096> ignored{};
    const auto received =
        ::recv(of_system(request.socket.get()), ignored.data(), ignored.size(), 0);
    return received > 0;
}

void serve_open(std::list<open_request>& open, counts& total) {
    std::vector<pollfd> watched;
    for (const open_request& each : open)
        watched.push_back(
            watch(each.socket.get(), each.sent ? socket_event::readable : socket_event::writable));
    poll_all(watched, 1);
    const auto now = clock::now();
    auto event = watched.begin();
    for (auto each = open.begin(); each != open.end(); ++event) {
        const bool late = now - each->begin > longest_open;
        if (!late && (event->revents == 0 || go_on(*each, event->revents, total))) {
            ++each;
            continue;
        }
        ++(late ? total.given_up : total.ended);
        each = open.erase(each);
    }
}

void run(const flood_options& options) {
    std::list<open_request> open;
    counts total;
    std::int64_t begun = 0;
    const auto begin = clock::now();
    const auto end = begin + milliseconds(options.for_ms);
    for (auto now = begin; now < end; now = clock::now()) {
        const std::chrono::duration<double> elapsed = now - begin;
        const auto due = static_cast<std::int64_t>(elapsed.count() * options.per_second);
        for (; begun < due; ++begun) {
            if (open.size() >= most_open) {
                ++total.left_out;
                continue;
            }
            const auto number = static_cast<std::size_t>(begun);
            open.push_back({.socket = begin_connection(begun % 2 == 0 ? options.first_port
                                                                      : options.second_port),
                            .text = malformed.at(number / 2 % malformed.size()),
                            .begin = now});
        }
        serve_open(open, total);
    }
    std::printf("{\"sent\":%lld,\"ended\":%lld,\"givenUp\":%lld,\"leftOut\":%lld}\n",
                static_cast<long long>(total.sent), static_cast<long long>(total.ended),
                static_cast<long long>(total.given_up), static_cast<long long>(total.left_out));
}

} // namespace

} // namespace elvantris::simulator

int main(int count, char** values) {
    using namespace elvantris::simulator;
    return run_program("request_flood", [&] { run(read_flood_options(count, values)); });
}
