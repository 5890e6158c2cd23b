#include "http_front.hpp"

#include "answer_faults.hpp"

namespace elvantris::simulator {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds request_time_out{10'000};
constexpr milliseconds application_time_out{10'000};
constexpr std::size_t largest_head = 65'536;
constexpr std::size_t largest_body = 268'435'456;
constexpr const char* bad_request =
    "HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";

bool read_head(native_socket socket, std::string& text, std::size_t& head_size,
               const stop_signal& stop) {
    std::size_t end = std::string::npos;
    while ((end = text.find("\r\n\r\n")) == std::string::npos) {
        if (text.size() > largest_head) return false;
        if (!read_more(socket, text, request_time_out, stop)) return false;
    }
    head_size = end + 4;
    return true;
}

// The library would wait for the body of a post that announces none.
std::string with_length(const http_request& request) {
    if (!request.body.empty()) return request.head;
    return request.head.substr(0, request.head.size() - 2) + "Content-Length: 0\r\n\r\n";
}

enum class request_state { complete, bad, abandoned };

request_state read_request(native_socket socket, http_request& request, const stop_signal& stop) {
    std::string text;
    std::size_t head_size = 0;
    if (!read_head(socket, text, head_size, stop))
        return text.size() > largest_head ? request_state::bad : request_state::abandoned;
    request.head = text.substr(0, head_size);
    request.path = request_path(request.head);
    const std::optional<std::size_t> body_size = announced_body_bytes(request.head);
    if (request.path.empty() || !body_size || *body_size > largest_body) return request_state::bad;
    while (text.size() < head_size + *body_size) {
        if (!read_more(socket, text, request_time_out, stop)) return request_state::abandoned;
    }
    request.body = text.substr(head_size, *body_size);
    return request_state::complete;
}

} // namespace

http_front::http_front(server_state& state, stop_signal& stop, std::uint16_t application_port)
    : state_(state),
      stop_(stop),
      application_port_(application_port),
      connections_(state.options().bind_address, state.options().http_port, stop,
                   [this](native_socket socket, const endpoint& peer) { serve(socket, peer); }) {
    connections_.open();
}

void http_front::set_open(bool open) {
    if (open)
        connections_.open();
    else
        connections_.close();
}

void http_front::serve(native_socket socket, const endpoint& peer) {
    if (!state_.options().answers(peer)) return;
    if (!state_.broken().cable_plugged) {
        hang(socket, stop_);
        return;
    }
    http_request request;
    switch (read_request(socket, request, stop_)) {
    case request_state::abandoned:
        return;
    case request_state::bad:
        send_all(socket, bad_request, stop_);
        return;
    case request_state::complete:
        break;
    }
    state_.record_call(request.path, request.head, request.body);
    const std::optional<answer_fault> fault = state_.next_fault(request.path);
    if (fault)
        misbehave(socket, *fault, stop_, [&] { return parse_reply(ask_application(request)); });
    else
        send_all(socket, ask_application(request), stop_);
}

std::string http_front::ask_application(const http_request& request) const {
    const socket_handle application =
        connect_tcp("127.0.0.1", application_port_, application_time_out, stop_);
    std::string reply;
    if (!application.is_open() || !send_all(application.get(), with_length(request), stop_) ||
        !send_all(application.get(), request.body, stop_))
        return reply;
    while (read_more(application.get(), reply, application_time_out, stop_)) {
    }
    return reply;
}

} // namespace elvantris::simulator
