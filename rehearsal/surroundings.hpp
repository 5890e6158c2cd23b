// Whether this computer, and the network that it is on, are fit for a rehearsal.
#pragma once

#include <cstdint>
#include <string>

namespace elvantris::rehearsal {

// Asks once for servers, as the program asks. Why there can be no rehearsal here, in a sentence;
// empty if there can.
std::string why_not_here();

// Whether an IPv4 address in host byte order is one of this computer's own just now.
bool is_own_address(std::uint32_t address);

} // namespace elvantris::rehearsal
