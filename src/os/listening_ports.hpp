#pragma once

#include "os/processes.hpp"

#include <cstdint>
#include <optional>
#include <vector>

namespace elvantris::operator_control {

// The programs that listen on this TCP port at 127.0.0.1 or at all addresses: as long as one does,
// no other program can. Absent if the system refuses to tell.
// Threads: any. Nothing is sent or opened on the port to find out.
std::optional<std::vector<running_program>> programs_listening_on(std::uint16_t port);

} // namespace elvantris::operator_control
