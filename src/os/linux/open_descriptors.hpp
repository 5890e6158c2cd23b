// What processes have open, as the links below /proc name it. Private to Linux.
#pragma once

#include "os/processes.hpp"

#include <string_view>
#include <vector>

namespace elvantris::operator_control {

// Each process with a descriptor whose link has this text: a path, or "socket:[123]". Processes of
// other users are left out unless this one may look into them.
std::vector<running_program> programs_with_open(std::string_view link);

} // namespace elvantris::operator_control
