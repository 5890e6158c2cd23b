// What the system's error numbers mean. Private to this folder and to its tests: `sockets.hpp`
// hands out only the meaning.
//
// Pure.
#pragma once

#include "os/sockets.hpp"

namespace elvantris::operator_control {

// Of a socket call that failed.
network_failure failure_of(int system_error);

// The same for a connection that is being made: by then "no way" may also be a router's answer.
network_failure late_failure_of(int system_error);
receive_result result_of_failed_read(int system_error);

} // namespace elvantris::operator_control
