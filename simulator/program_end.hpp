// How both programs come to their end.
#pragma once

namespace elvantris::simulator {

// For the first thread, before any other is started: the signals that end the program wait until
// somebody asks for them, and a peer that leaves does not end it.
void hold_back_end_signals();

// Returns when SIGINT or SIGTERM has come.
void wait_for_end_signal();

} // namespace elvantris::simulator
