// Which event of the log answers the question. Pure.
#pragma once

#include "tool/explain_view.hpp"

namespace elvantris::operator_control {

// A transfer says more than a block, a block more than a fault that starts a failover, and that
// more than one that only alerts. Of two that say as much the later counts. What happens after a
// return to Main is a new story.
//
// To a question about a time, what began in it or in the 10 minutes before counts, and what lasted
// then. To a question about now, the same around the last event; while operation is held on Backup
// a new fault of Main is not that event, as it moves nothing.
//
// Null if nothing was wrong. The entry is one of the view's own.
const history_entry* event_in_question(const explain_view& view);

} // namespace elvantris::operator_control
