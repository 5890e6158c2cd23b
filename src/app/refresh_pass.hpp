#pragma once

#include "os/call_limits.hpp"
#include "systems/controller_registry.hpp"
#include "systems/server_polling.hpp"

#include <functional>
#include <string>
#include <vector>

namespace elvantris::operator_control {

// Where the steps of the next pass continue.
struct refresh_memory {
    polling_memory polling;
    asking_order adoption;
    std::string status_signature; // of the lines written last
};

// The workstation's heartbeat, all in series on the caller's thread: discovery, adoption of a
// pairing that the servers hold, readiness, synchronisation with Main, replication, the status
// lines and the save of the configuration file. With dead servers it takes seconds.
//
// It lasts 28 seconds at most, whatever the servers do; servers for which there is no time are the
// first in the next pass. While the pass waits for the network it calls `given_up` at least every
// 100 ms. Once that returns true no server is asked any more, nothing that was heard by then goes
// into the registry, and the pass ends at once as usual.
// Failure: throws what discovery throws; the steps behind it are then left out of this pass.
void run_refresh_pass(controller_registry& registry, refresh_memory& memory,
                      const std::function<bool()>& given_up);

// The steps behind the discovery, for the servers that answered it.
void use_discovered(controller_registry& registry, const std::vector<discovered_server>& servers,
                    refresh_memory& memory, const call_limits& pass);

} // namespace elvantris::operator_control
