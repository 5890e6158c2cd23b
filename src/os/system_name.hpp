#pragma once

#include <string>

namespace elvantris::operator_control {

// The operating system and its version, for a person: "Windows 10.0.19045", "Debian GNU/Linux 12
// (bookworm), Linux 6.1.0". Empty if the system won't say.
std::string system_name();

} // namespace elvantris::operator_control
