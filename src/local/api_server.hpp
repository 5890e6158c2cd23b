#pragma once

#include "local/api_routes.hpp"
#include "os/loopback_server.hpp"

#include <cstdint>

namespace elvantris::operator_control {

// The JSON API and the diagnostics page on a loopback port. The accept thread is the whole server:
// one request runs to its end before the next is read, and so the routes need no lock of their own.
// It waits for a connection that has begun its request; up to 64 connections may be silent without
// blocking it.
class api_server {
public:
    api_server(controller_registry& registry, command_router& router, streamdeck_adapter& adapter,
               protection_service& protection);

    bool start(std::uint16_t port) { return server_.start(port); }
    void stop() { server_.stop(); }
    std::uint16_t port() const { return server_.port(); }

private:
    void serve(const socket_handle& connection);

    api_routes routes_;
    loopback_server server_; // last, so that it stops before the routes go
};

} // namespace elvantris::operator_control
