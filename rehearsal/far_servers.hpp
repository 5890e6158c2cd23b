// Simulated servers and a device on other hosts, each with its own program and control call.
#pragma once

#include "rehearsal/stage.hpp"

namespace elvantris::rehearsal {

// Takes their addresses. Throws std::runtime_error if a server doesn't answer now. If one can't be
// reached later, its troubles don't change, and its list of messages is empty.
stage_setup reach_servers(const std::vector<std::string>& servers, const std::string& device);

} // namespace elvantris::rehearsal
