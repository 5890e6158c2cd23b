// How both programs come to their end.
#pragma once

#include <functional>

namespace elvantris::simulator {

// The whole life of a program, on its first thread. Its exit code: 0, 2 for arguments that it
// doesn't understand, 1 for anything else that `run` throws; what is wrong is told on standard
// error. A peer that leaves does not end it.
int run_program(const char* name, const std::function<void()>& run);

// Of the system, before any other thread is started: the signals that end the program wait to be
// asked for, and sockets can be opened.
void prepare_process();

// Of the system: for an act that starts another program, which is to find the signals as any
// program does.
void with_free_signals(const std::function<void()>& act);

// Of the system: where a window closes with the program, it stays open until its text has been
// read.
void let_the_text_be_read();

// Returns when the program is to end: Ctrl-C, a closed window, or another program's polite wish.
void wait_for_end_signal();

} // namespace elvantris::simulator
