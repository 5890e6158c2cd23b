#include "local/http_reply.hpp"

namespace elvantris::operator_control {
namespace {

constexpr milliseconds stop_check_while_sending{100};

std::string_view reason_phrase(int status) {
    if (status == 200) return "OK";
    if (status == 400) return "Bad Request";
    return "Not Found";
}

// Sends all bytes, or as many as the client takes.
void send_to_client(const socket_handle& connection, const std::atomic<bool>& running,
                    std::string_view bytes) {
    while (!bytes.empty()) {
        while (!wait_writable(connection, stop_check_while_sending))
            if (!running) return;
        const std::size_t sent = send_some(connection, bytes, milliseconds::zero());
        if (sent == 0) return;
        bytes.remove_prefix(sent);
    }
}

} // namespace

std::string build_http_reply(int status, std::string_view content_type, std::string_view body) {
    std::string reply = "HTTP/1.1 " + std::to_string(status) + ' ';
    reply.append(reason_phrase(status))
        .append("\r\nServer: Elvantris Redundancy Control\r\nContent-Type: ")
        .append(content_type)
        .append("\r\nContent-Length: ")
        .append(std::to_string(body.size()))
        .append("\r\nConnection: close\r\nCache-Control: no-store"
                "\r\nAccess-Control-Allow-Origin: *\r\n\r\n")
        .append(body);
    return reply;
}

void write_http_reply(const socket_handle& connection, const std::atomic<bool>& running, int status,
                      std::string_view content_type, std::string_view body) {
    send_to_client(connection, running, build_http_reply(status, content_type, body));
}

} // namespace elvantris::operator_control
