#include "local/loopback_server.hpp"

#include "os/standard_streams.hpp"

#include <exception>
#include <string>
#include <system_error>
#include <utility>

namespace elvantris::operator_control {
namespace {

constexpr milliseconds wake_limit{500};
constexpr milliseconds stop_check_while_idle{250}; // should the knock of a stop not come through
constexpr milliseconds pause_after_failure{20};

} // namespace

loopback_server::loopback_server(int backlog, connection_handler handler)
    : backlog_(backlog), handler_(std::move(handler)) {}

loopback_server::~loopback_server() {
    stop();
}

bool loopback_server::start(std::uint16_t port) {
    if (running_) return true;
    listen_socket_ = listen_on_loopback(port, backlog_);
    if (!listen_socket_.valid()) return false;
    port_ = bound_port(listen_socket_);
    running_ = true;
    try {
        accept_thread_ = std::thread([this] { accept_connections(); });
    } catch (const std::system_error&) {
        running_ = false;
        listen_socket_.close();
        return false;
    }
    return true;
}

void loopback_server::stop() {
    if (!running_.exchange(false)) return;
    knock_on_loopback(port_, wake_limit);
    accept_thread_.join();
    listen_socket_.close();
}

void loopback_server::accept_connections() {
    while (true) {
        const bool somebody_waits = wait_readable(listen_socket_, stop_check_while_idle);
        if (!running_) return;
        if (!somebody_waits) continue;
        socket_handle connection = accept_connection(listen_socket_);
        if (connection.valid())
            handle(std::move(connection));
        else
            // Out of handles, most likely: trying again at full speed would only make it worse.
            std::this_thread::sleep_for(pause_after_failure);
    }
}

// A request that the memory has no room for must not end the program.
void loopback_server::handle(socket_handle connection) {
    try {
        handler_(std::move(connection));
    } catch (const std::exception& failure) {
        write_error_line("Redundancy Control request: " + std::string(failure.what()));
    }
}

} // namespace elvantris::operator_control
