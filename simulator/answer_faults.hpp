// Answers that a well-behaved web server does not give.
#pragma once

#include "http_message.hpp"
#include "stop_signal.hpp"
#include "switches.hpp"

#include <functional>
#include <string>

namespace elvantris::simulator {

// Whether the web application sees the request at all: it does not when the fault brings an
// answer of its own.
bool reaches_application(const answer_fault& fault);

// The answer with the fault's status, body, padding and framing, and cut where the fault says.
std::string spoilt_answer(const answer_fault& fault, const http_reply& good);

// Answers nothing until the client gives up, or for so long that every client has.
void hang(native_socket socket, const stop_signal& stop);

// Serves one connection as the fault tells. `ask` gives the good reply, and is called only if
// the web application is to see the request. Ends early when the stop comes.
void misbehave(native_socket socket, const answer_fault& fault, const stop_signal& stop,
               const std::function<http_reply()>& ask);

} // namespace elvantris::simulator
