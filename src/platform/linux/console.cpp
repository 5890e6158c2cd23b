#include "platform/console.hpp"

namespace elvantris::operator_control {

// The terminal it was started from is the console.
void attach_console(bool /*wanted*/) {}

} // namespace elvantris::operator_control
