#pragma once

namespace elvantris::operator_control {

// The whole life of the process: start, main loop, stop. The arguments are UTF-8.
//
// Returns the exit code: 0 after a normal stop, and for a second instance that gave way; 2 if the
// socket layer could not be started; 3 or 4 if the API port or the UI port could not be bound; 5 if
// the system had no thread or no memory for it. What had been started by then is stopped in order.
int run_application(int argc, char** argv);

} // namespace elvantris::operator_control
