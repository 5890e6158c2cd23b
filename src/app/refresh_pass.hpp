#pragma once

#include "systems/controller_registry.hpp"

namespace elvantris::operator_control {

// The workstation's heartbeat, all in series on the caller's thread: discovery, adoption of a
// pairing that the servers hold, readiness, synchronisation with Main, replication, the status
// lines and the save of the configuration file. With dead servers it takes seconds.
// Failure: throws what discovery throws; the steps behind it are then left out of this pass.
void run_refresh_pass(controller_registry& registry);

} // namespace elvantris::operator_control
