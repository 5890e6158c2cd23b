// The public web port: notes every request, and either hands it to the web application behind it
// or answers as badly as the switches ask for.
//
// With the cable pulled it hears and says nothing: whoever asks waits in vain.
// One request for each connection; the connection ends with the answer.
#pragma once

#include "connection_server.hpp"
#include "http_message.hpp"
#include "server_state.hpp"

namespace elvantris::simulator {

class http_front {
public:
    // Opens the port. Throws port_error. The application listens on a loopback port.
    http_front(server_state& state, stop_signal& stop, std::uint16_t application_port);

    // When it returns the port is as wanted. Throws port_error if it cannot be opened again.
    void set_open(bool open);

private:
    void serve(native_socket socket, const endpoint& peer);
    std::string ask_application(const http_request& request) const;

    server_state& state_;
    stop_signal& stop_;
    const std::uint16_t application_port_;
    connection_server connections_;
};

} // namespace elvantris::simulator
