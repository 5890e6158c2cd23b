#include "os/loopback_server.hpp"

#include "os/process.hpp"
#include "os/standard_streams.hpp"

#include <exception>
#include <utility>
#include <vector>

namespace elvantris::operator_control {
namespace {

constexpr milliseconds wake_limit{500};
constexpr milliseconds stop_check_while_idle{250}; // should the knock of a stop not come through
constexpr milliseconds pause_after_failed_accept{20};

} // namespace

loopback_server::loopback_server(const loopback_limits& limits, connection_handler handler)
    : limits_(limits), handler_(std::move(handler)), seats_(std::make_shared<char>()) {}

loopback_server::~loopback_server() {
    stop();
}

bool loopback_server::start(std::uint16_t port) {
    if (running_) return true;
    listen_socket_ = listen_on_loopback(port, limits_.backlog);
    if (!listen_socket_.valid()) return false;
    port_ = bound_port(listen_socket_);
    running_ = true;
    try {
        accept_thread_ = std::thread([this] { accept_connections(); });
    } catch (...) {
        running_ = false;
        listen_socket_.close();
        throw;
    }
    return true;
}

void loopback_server::stop() {
    if (!running_.exchange(false)) return;
    knock_on_loopback(port_, wake_limit);
    accept_thread_.join();
    listen_socket_.close();
}

void loopback_server::accept_connections() noexcept {
    while (running_) {
        try {
            serve_next();
        } catch (...) {
            // Out of memory, most likely: trying again at full speed would only make it worse.
            std::this_thread::sleep_for(pause_after_failed_accept);
        }
    }
    silent_.clear();
}

void loopback_server::serve_next() {
    std::vector<const socket_handle*> watched;
    watched.reserve(silent_.size() + 1);
    for (const loopback_connection& connection : silent_)
        watched.push_back(&connection.socket);
    watched.push_back(&listen_socket_);
    const std::size_t listener = silent_.size();
    const std::vector<std::size_t> ready = wait_any_readable(watched, stop_check_while_idle);
    if (ready.empty() || !running_) return;

    const bool somebody_has_spoken = ready.front() != listener;
    if (ready.back() == listener) accept_waiting(somebody_has_spoken);
    if (!somebody_has_spoken) return;
    const auto spoken = silent_.begin() + static_cast<std::ptrdiff_t>(ready.front());
    loopback_connection connection = std::move(*spoken);
    silent_.erase(spoken);
    handle(std::move(connection));
}

// As many as there is room for, since the system's own queue is short. No connection is closed
// to make room while one that has sent something waits to be served.
void loopback_server::accept_waiting(bool somebody_has_spoken) {
    bool accepted = false;
    while (has_room() && accept_next(true))
        accepted = true;
    if (accepted || somebody_has_spoken) return;
    make_room();
    if (!accept_next(has_room()))
        // Out of handles, most likely.
        std::this_thread::sleep_for(pause_after_failed_accept);
}

// False if no connection waits, or none can be accepted.
bool loopback_server::accept_next(bool keep) {
    socket_handle accepted = accept_connection(listen_socket_);
    if (!accepted.valid()) return false;
    if (keep) silent_.push_back({.seat = seats_, .socket = std::move(accepted)});
    return true;
}

void loopback_server::make_room() {
    while (!silent_.empty() && !has_room())
        silent_.pop_front();
}

bool loopback_server::has_room() const {
    const auto open = static_cast<std::size_t>(seats_.use_count() - 1);
    return open < limits_.connections && descriptors_left(limits_.spare_descriptors + 1);
}

// A request that the memory has no room for must not end the program.
void loopback_server::handle(loopback_connection connection) {
    try {
        handler_(std::move(connection));
    } catch (const std::exception& failure) {
        write_failure_line("Redundancy Control request: ", failure);
    }
}

} // namespace elvantris::operator_control
