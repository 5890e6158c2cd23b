// Whether this computer, and the network that it is on, are fit for a rehearsal.
#pragma once

#include <string>

namespace elvantris::rehearsal {

// Asks once for servers, as the program asks. Returns why a rehearsal can't run here; empty if
// it can.
std::string why_not_here();

} // namespace elvantris::rehearsal
