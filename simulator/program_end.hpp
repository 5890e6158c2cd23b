// How both programs come to their end.
#pragma once

#include <functional>

namespace elvantris::simulator {

// The whole life of a program, on its first thread. Its exit code: 0, 2 for arguments that it
// doesn't understand, 1 for anything else that `run` throws; what is wrong is told on standard
// error. A peer that leaves does not end it, and the signals that end it wait to be asked for.
int run_program(const char* name, const std::function<void()>& run);

// Returns when SIGINT or SIGTERM has come.
void wait_for_end_signal();

} // namespace elvantris::simulator
