// Looks at everything that a workstation is judged by: ports, networks, decks, files, versions.
//
// One discovery question is sent, from a port of its own, as the program sends them; nothing else
// leaves this computer, and nothing is kept or changed on it.
// Threads: any. Takes some two seconds, as the servers have time to answer.
// Failure: what can't be looked at is absent in the view.
#pragma once

#include "tool/doctor_view.hpp"

#include <string>

namespace elvantris::operator_control {

doctor_view look_at_workstation(const std::string& config_path);

} // namespace elvantris::operator_control
