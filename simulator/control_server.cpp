#include "control_server.hpp"

#include "socket_calls.hpp"

#include <chrono>

namespace elvantris::simulator {

namespace {

// The library would also share the port with a second program.
void claim_port_only(socket_t socket) {
    claim_port(static_cast<native_socket>(socket));
}

std::uint16_t bind_port(httplib::Server& server, const std::string& address, std::uint16_t port) {
    server.set_socket_options(claim_port_only);
    if (port == 0) {
        const int chosen = server.bind_to_any_port(address);
        if (chosen > 0) return static_cast<std::uint16_t>(chosen);
    } else if (server.bind_to_port(address, port)) {
        return port;
    }
    throw port_error("cannot open TCP port " + std::to_string(port) + " on " + address +
                     ": Address already in use");
}

} // namespace

control_server::control_server(const std::string& address, std::uint16_t port,
                               const add_routes& add)
    : port_(bind_port(server_, address, port)) {
    server_.set_tcp_nodelay(true);
    // An idle kept connection would hold up the end of the program.
    server_.set_keep_alive_max_count(1);
    add(server_);
    thread_ = std::thread([this] { server_.listen_after_bind(); });
    // A stop that comes before the library has begun would be lost.
    while (!server_.is_running())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

control_server::~control_server() {
    server_.stop();
    thread_.join();
}

std::string read_body(const httplib::ContentReader& reader) {
    std::string body;
    reader([&body](const char* data, std::size_t size) {
        body.append(data, size);
        return true;
    });
    return body;
}

} // namespace elvantris::simulator
