#include "connection_server.hpp"

#include <utility>

namespace elvantris::simulator {

namespace {

constexpr std::size_t most_connections = 200;
constexpr std::chrono::milliseconds pause_after_failed_accept{10};

} // namespace

connection_server::connection_server(std::string address, std::uint16_t port, stop_signal& stop,
                                     handler serve_connection)
    : address_(std::move(address)),
      port_(port),
      stop_(stop),
      serve_connection_(std::move(serve_connection)) {}

connection_server::~connection_server() {
    close();
    stop_.raise();
    for (connection& each : connections_)
        each.thread.join();
}

void connection_server::open() {
    if (listener_.is_open()) return;
    listener_ = listen_tcp(address_, port_);
    closing_ = std::make_unique<stop_signal>();
    acceptor_ = std::thread([this] { accept_connections(listener_.get(), *closing_); });
}

void connection_server::close() {
    if (!listener_.is_open()) return;
    closing_->raise();
    acceptor_.join();
    listener_ = socket_handle();
}

void connection_server::accept_connections(native_socket listener, const stop_signal& closing) {
    while (wait_for(listener, socket_event::readable, closing) == wait_result::ready) {
        endpoint peer;
        socket_handle accepted = accept_connection(listener, peer);
        join_ended_connections();
        if (!accepted.is_open())
            pause_for(pause_after_failed_accept, closing);
        else if (connections_.size() < most_connections)
            start_connection(std::move(accepted), peer);
    }
}

void connection_server::start_connection(socket_handle socket, const endpoint& peer) {
    connection& added = connections_.emplace_back();
    added.thread = std::thread([this, &added, peer, owned = std::move(socket)]() mutable {
        serve_connection_(owned.get(), peer);
        owned = socket_handle();
        added.ended = true;
    });
}

void connection_server::join_ended_connections() {
    for (auto each = connections_.begin(); each != connections_.end();) {
        if (!each->ended) {
            ++each;
            continue;
        }
        each->thread.join();
        each = connections_.erase(each);
    }
}

} // namespace elvantris::simulator
