// The decks on the USB bus, through hidapi.
//
// A thread of its own scans the bus every 2 seconds, as no deck announces itself, and looks at the
// keys every 20 ms. A deck that arrives shows the splash; one that another application holds is
// tried again at every scan. What is found, attached and lost is written to the log.
//
// One adapter at a time: hidapi is started and ended with it.
#pragma once

#include "decks/streamdeck_adapter.hpp"

#include <memory>

namespace elvantris::operator_control {

// Not started yet.
std::unique_ptr<streamdeck_adapter> create_hid_streamdeck_adapter();

} // namespace elvantris::operator_control
