#pragma once

#include "os/clock.hpp"
#include "protection/server_health.hpp"
#include "systems/system_record.hpp"

#include <cstdint>
#include <optional>

namespace elvantris::operator_control {

// Asks one server how it is: the health call, and the identity call where the server is too old to
// know the first. Absent if nothing was learned, for whatever cause.
//
// Threads: any; works on its own copy of the record and touches no shared state.
// Units: 350 ms for each step, and `longest` for the whole poll, the lookup of a name included, so
//   that neither a server that trickles its answer nor a slow resolver can hold the monitor.
// Failure: an absent value. Only the allocator may throw.
std::optional<server_health> ask_health(const system_record& system, std::uint32_t stall_ms,
                                        milliseconds longest);

} // namespace elvantris::operator_control
