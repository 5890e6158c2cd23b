#pragma once

#include "os/clock.hpp"
#include "os/transport.hpp"
#include "protection/policy.hpp"

#include <atomic>
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
bool send_action(const std::string& host, std::uint16_t port, transport kind,
                 std::string_view bytes, milliseconds timeout, std::string& error);

// Resolves the step's escapes and sends it, with its retries, as long as `running` is true.
//
// Threads: any. Failure: false, with the sentence for the operator in `failure`; or the
//   text of the exception that ended the sending.
bool send_step(const outbound_action& step, const std::atomic<bool>& running,
               std::string& failure) noexcept;

} // namespace elvantris::operator_control
