#pragma once

#include "os/clock.hpp"
#include "platform/platform_app.hpp"

#include <memory>

namespace elvantris::operator_control {

// The tray of Windows. A menu that is left open closes by itself after `menu_limit`: while it is
// open, `pump_events` does not come back.
std::unique_ptr<platform_app> create_windows_platform_app(milliseconds menu_limit);

} // namespace elvantris::operator_control
