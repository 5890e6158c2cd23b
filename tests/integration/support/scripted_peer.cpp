#include "integration/support/scripted_peer.hpp"

#include "integration/support/eventually.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace elvantris::operator_control {
namespace {

constexpr milliseconds stop_check{10};

std::size_t announced_body_length(std::string_view headers) {
    constexpr std::string_view name = "Content-Length: ";
    const std::size_t at = headers.find(name);
    if (at == std::string_view::npos) return 0;
    const std::string_view digits = headers.substr(at + name.size());
    std::size_t length = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), length);
    return length;
}

bool is_complete(std::string_view request) {
    const std::size_t headers_end = request.find("\r\n\r\n");
    return headers_end != std::string_view::npos &&
           request.size() >=
               headers_end + 4 + announced_body_length(request.substr(0, headers_end + 2));
}

} // namespace

bool peer_connection::wanted() const {
    return !peer_.stopping_;
}

bool peer_connection::read_more(std::string& text) {
    const steady_time deadline = steady_now() + patience;
    std::array<char, 65536> buffer{};
    while (wanted() && steady_now() < deadline) {
        if (!wait_readable(socket_, stop_check)) continue;
        const std::size_t size = receive_some(socket_, buffer, milliseconds::zero());
        text.append(buffer.data(), size);
        return size != 0;
    }
    return false;
}

std::string peer_connection::read_request() {
    std::string text;
    while (!is_complete(text) && read_more(text)) {
    }
    const std::lock_guard lock(peer_.lock_);
    peer_.received_.push_back(text);
    return text;
}

std::string peer_connection::read_to_end() {
    std::string text;
    while (read_more(text)) {
    }
    const std::lock_guard lock(peer_.lock_);
    peer_.received_.push_back(text);
    return text;
}

bool peer_connection::trickle(std::size_t bytes) {
    std::this_thread::sleep_for(stop_check);
    std::string buffer(bytes, '\0');
    return !wait_readable(socket_, stop_check) ||
           receive_some(socket_, buffer, milliseconds::zero()) != 0;
}

bool peer_connection::send(std::string_view bytes) {
    while (!bytes.empty()) {
        while (!wait_writable(socket_, stop_check))
            if (!wanted()) return false;
        const std::size_t sent = send_some(socket_, bytes, milliseconds::zero());
        if (sent == 0) return false;
        bytes.remove_prefix(sent);
    }
    return true;
}

void peer_connection::hang() {
    std::array<char, 4096> buffer{};
    while (wanted())
        if (wait_readable(socket_, stop_check) &&
            receive_some(socket_, buffer, milliseconds::zero()) == 0)
            return;
}

void peer_connection::ignore() const {
    while (wanted())
        std::this_thread::sleep_for(stop_check);
}

void peer_connection::reset() {
    wait_readable(socket_, patience);
    socket_.close();
}

scripted_peer::scripted_peer(peer_script script)
    : script_(std::move(script)),
      listener_(listen_on_loopback(0, 64)),
      port_(bound_port(listener_)),
      accept_thread_([this] { accept_connections(); }) {}

scripted_peer::~scripted_peer() {
    stopping_ = true;
    accept_thread_.join();
    for (std::thread& thread : threads_)
        thread.join();
}

std::vector<std::string> scripted_peer::received() const {
    const std::lock_guard lock(lock_);
    return received_;
}

void scripted_peer::accept_connections() {
    while (!stopping_) {
        if (!wait_readable(listener_, stop_check)) continue;
        socket_handle socket = accept_connection(listener_);
        if (!socket.valid()) continue;
        threads_.emplace_back([this, owned = std::move(socket), index = connections_++]() mutable {
            peer_connection connection(*this, std::move(owned), index);
            script_(connection);
        });
    }
}

peer_script replies(std::string bytes) {
    return replies_in_turn({std::move(bytes)});
}

peer_script replies_in_turn(std::vector<std::string> each) {
    return [each = std::move(each)](peer_connection& connection) {
        connection.read_request();
        connection.send(each[std::min(connection.index(), each.size() - 1)]);
    };
}

peer_script replies_by_path(std::map<std::string, std::string> each) {
    return [each = std::move(each)](peer_connection& connection) {
        const std::string target = request_target(connection.read_request());
        const auto found = each.find(target.substr(target.find(' ') + 1));
        connection.send(found == each.end() ? http_reply_text(404, "") : found->second);
    };
}

std::string http_reply_text(int status, std::string_view body) {
    return "HTTP/1.1 " + std::to_string(status) +
           " Scripted\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
           std::string(body);
}

std::string request_target(std::string_view request) {
    const std::size_t method_end = request.find(' ');
    if (method_end == std::string_view::npos) return {};
    return std::string(request.substr(0, request.find(' ', method_end + 1)));
}

std::string request_body(std::string_view request) {
    const std::size_t headers_end = request.find("\r\n\r\n");
    return headers_end == std::string_view::npos ? std::string()
                                                 : std::string(request.substr(headers_end + 4));
}

// Below those that the system hands out: a port that was just given back would soon be the port of
// another test.
std::uint16_t closed_port() {
    return 1;
}

} // namespace elvantris::operator_control
