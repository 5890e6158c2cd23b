#pragma once

#include "os/clock.hpp"
#include "protection/server_health.hpp"
#include "systems/system_record.hpp"

#include <cstdint>
#include <optional>

namespace elvantris::operator_control {

enum class poll_outcome {
    answered,
    unanswered,   // silence, a refusal, or an unusable answer
    no_network,   // the workstation has no way out to the server
    no_resources, // the workstation lacked a descriptor, a buffer, a thread or memory to ask
};

struct health_answer {
    poll_outcome outcome = poll_outcome::unanswered;
    std::optional<server_health> health = std::nullopt; // of an answered poll
};

// Polls one server: the health call, and the identity call where the server is too old to
// know the first.
//
// Threads: any; works on its own copy of the record and touches no shared state.
// Units: 350 ms for each step, and `longest` for the whole poll, the lookup of a name included, so
//   that neither a server that answers byte by byte nor a slow resolver can block the monitor.
// Failure: the outcome. Only the allocator may throw.
health_answer ask_health(const system_record& system, std::uint32_t stall_ms, milliseconds longest);

} // namespace elvantris::operator_control
