#pragma once

#include "protection/policy.hpp"

#include <string>
#include <vector>

namespace elvantris::operator_control {

// One queued job of the outbound worker. The steps are copies: a policy that is saved meanwhile
// doesn't change what runs.
struct outbound_sequence {
    std::vector<outbound_action> steps;
    std::string name; // "Transfer to Backup", "Return to Main" or "Test action"
};

} // namespace elvantris::operator_control
