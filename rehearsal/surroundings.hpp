// Whether this computer, and the network that it is on, are fit for a rehearsal.
#pragma once

#include <string>

namespace elvantris::rehearsal {

// Asks once for servers, as the program asks. Why there can be no rehearsal here, in a sentence;
// empty if there can.
std::string why_not_here();

} // namespace elvantris::rehearsal
