#pragma once

#include "app/launch_options.hpp"
#include "systems/controller_registry.hpp"

namespace elvantris::operator_control {

// Gives way to the instance that runs already: waits up to 2.5 seconds for its page and opens the
// browser there, whether or not it answered. A background start opens nothing unless it is asked
// for the setup dialog.
void give_way_to_first_instance(const launch_options& options, const controller_registry& registry);

} // namespace elvantris::operator_control
