#pragma once

namespace elvantris::operator_control {

// Gives the standard streams a console to write to, where the system starts programs without one.
// Does nothing unless wanted. Called once, before the first line is written.
void attach_console(bool wanted);

} // namespace elvantris::operator_control
