// HTTP to the servers: one connection for one request, read until the server hangs up.
//
// There are two forms, and they differ on purpose: `http_exchange` resolves to IPv4, names the
// host without its port and takes all behind the headers as the body; `http_exchange_bounded`
// takes any address family, names host and port, and checks the framing of what came.
//
// Threads: any; nothing is kept between calls.
// Units: `timeout` bounds connecting (for each address) and then each single send and read. The
//   limits bound the whole exchange, from looking up the name to the last byte.
// Failure: `status` 0 and an empty body, for every cause alike. Nothing is thrown, logged or
//   retried; a time-out while reading ends the reading, and what has come is parsed.
#pragma once

#include "os/call_limits.hpp"
#include "os/clock.hpp"
#include "os/sockets.hpp"
#include "systems/http_response.hpp"

#include <cstdint>
#include <string>

namespace elvantris::operator_control {

struct http_call {
    std::string host;
    std::uint16_t port = 0;
    std::string method;
    std::string path; // with any query in it
    std::string body;
    std::string content_type; // sent only with a body that is not empty
    milliseconds timeout{};
};

// Reads up to 32 MiB. An exchange whose limits are over before the server has ended has failed.
http_response http_exchange(const http_call& call, const call_limits& limits = {});

// Reads up to `read_limit` bytes, in whole buffers. What has come when the limits are over, or when
// this computer has no buffer to read on, is a response only if its framing shows it whole; an
// answer that has arrived by then still counts.
http_response http_exchange_bounded(const http_call& call, std::uint64_t read_limit,
                                    const call_limits& limits = {});
// The same for a caller that is limited by nothing but the time of the whole exchange.
http_response http_exchange_bounded(const http_call& call, std::uint64_t read_limit,
                                    milliseconds longest);

// The same, and why there is no usable response: whether this computer couldn't ask, or is cut off
// from every address of the server by now. An interface that goes down while the answer is awaited
// shows in nothing else. Of a usable response, whatever its status, the failure is `none`.
struct attempted_exchange {
    http_response response;
    network_failure failure = network_failure::none;
};
attempted_exchange attempt_exchange_bounded(const http_call& call, std::uint64_t read_limit,
                                            const call_limits& limits = {});

} // namespace elvantris::operator_control
