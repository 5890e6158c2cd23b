#pragma once

#include "systems/controller_registry.hpp"
#include "systems/server_polling.hpp"

#include <functional>

namespace elvantris::operator_control {

// The workstation's heartbeat, all in series on the caller's thread: discovery, adoption of a
// pairing that the servers hold, readiness, synchronisation with Main, replication, the status
// lines and the save of the configuration file. With dead servers it takes seconds.
// Failure: throws what discovery throws; the steps behind it are then left out of this pass.
//
// A pass lasts 28 seconds at most, whatever the servers do; what there is no time for comes first
// in the next one. `given_up` is asked at least every 100 ms while the network is waited for; when
// it says so, what waits is given up, and the pass ends with its lines and its save.
struct refresh_memory {
    polling_memory polling;
    asking_order adoption;
};
void run_refresh_pass(controller_registry& registry, refresh_memory& memory,
                      const std::function<bool()>& given_up);

} // namespace elvantris::operator_control
