#pragma once

#include "os/sockets.hpp"

#include <cstdint>
#include <string>
#include <string_view>

namespace elvantris::operator_control {

// Sends `bytes` to one destination: a TCP connection that carries them and is closed, or one UDP
// datagram that takes them all. Nothing is read back, so success says only that they left.
//
// Threads: any. Ownership: nothing outlives the call.
// Units: `timeout` covers the lookup of the name and all of its addresses together.
// Failure: false, with the sentence for the operator in `error`.
bool send_action(const std::string& host, std::uint16_t port, bool udp, std::string_view bytes,
                 milliseconds timeout, std::string& error);

} // namespace elvantris::operator_control
