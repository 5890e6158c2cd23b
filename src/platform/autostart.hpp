// Whether the program starts with the user's session, without a browser. Per user.
//
// Failure: told by the results; nothing is logged or thrown. The system's own entry is asked each
// time, as the user may change it elsewhere.
#pragma once

namespace elvantris::operator_control {

bool autostart_enabled();

// Writes or removes the entry for this very program file. True if the entry is as wanted
// afterwards; removing one that does not exist counts as success.
bool set_autostart(bool value);

} // namespace elvantris::operator_control
