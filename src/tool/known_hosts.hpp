// Asking the name server for the hosts of commands.
//
// Threads: any. Several hosts are looked up at the same time; a lookup that is still running
// after a second is given up.
// Failure: a value.
#pragma once

#include <set>
#include <string>

namespace elvantris::operator_control {

struct missing_hosts {
    std::set<std::string> unknown; // the name server knows no address
    std::set<std::string> untold;  // it didn't answer within a second, or couldn't be asked
};

// Which of these hosts have no address. Numbers need no name server.
missing_hosts missing_among(const std::set<std::string>& hosts);

} // namespace elvantris::operator_control
