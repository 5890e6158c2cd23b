// Simulated servers and a device on other hosts, each with its own program and control call.
#pragma once

#include "rehearsal/stage.hpp"

namespace elvantris::rehearsal {

// By their addresses. Throws std::runtime_error if a server doesn't answer now. One that can't be
// reached later stays as it is, and has received nothing.
stage_setup reach_servers(const std::vector<std::string>& servers, const std::string& device);

} // namespace elvantris::rehearsal
