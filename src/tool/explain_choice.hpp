// Which event of the log answers the question. Pure.
#pragma once

#include "tool/explain_view.hpp"

namespace elvantris::operator_control {

// The most important event is chosen: a transfer, else a block, else a fault that starts a
// failover, else a fault that only alerts. Of two equal ones the later is chosen. Events after a
// return to Main are judged separately.
//
// For a question about a time, the candidates are the events that began in it or up to 10 minutes
// before, and those that were active then. For a question about now, the time is that of the last
// event. While operation is held on Backup, a new fault of Main moves nothing and doesn't count as
// the last event.
//
// Null if nothing was wrong. The entry points into the view.
const history_entry* event_in_question(const explain_view& view);

} // namespace elvantris::operator_control
