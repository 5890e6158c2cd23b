// What one health reply says of one server.
//
// Pure functions over values; any thread.
#pragma once

#include "os/clock.hpp"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace elvantris::operator_control {

// Whether each output can be used now. Read once when the reply arrives: a policy may ask for
// hundreds of outputs in each cycle.
using output_states = std::map<std::string, bool, std::less<>>;

struct server_health {
    bool reachable = false; // a poll has succeeded at least once; `lastSeen` tells how fresh it is
    bool supported = false; // the last good poll came through the health call itself
    bool engineRunning = false;
    bool engineResponsive = false;
    bool telemetryAvailable = false; // the server can report frames and outputs
    bool engineStarting = false;
    bool frameStalled = false;
    bool clockFault = false;
    bool resourcePressure = false; // at this moment; the fault timer checks for how long
    steady_time lastSeen;
    std::string outputs; // the reply's array, unchanged
    output_states available_outputs;
};

// A reply of the health call; absent unless it comes from this server in the known version.
// `seen` is the time of the reply.
std::optional<server_health> read_health_reply(std::string_view body, const std::string& serial,
                                               std::uint32_t stall_ms, steady_time seen);

// The health of a server that is alive and too old to report any; absent for another serial.
std::optional<server_health> read_identity_reply(std::string_view body, const std::string& serial,
                                                 steady_time seen);

// If several objects of an `outputs` array have one id, the first counts.
output_states read_output_states(std::string_view array_text);

// False for an output that the server doesn't list.
bool output_available(const server_health& health, std::string_view output_id);

} // namespace elvantris::operator_control
