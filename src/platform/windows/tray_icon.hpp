// The program's icon beside the clock.
//
// At logon the program may start before the shell, and then the icon can't be added. So adding it
// is retried from time to time, and nobody waits for it.
//
// Threads: the one that owns the window.
#pragma once

#include "os/clock.hpp"
#include "platform/icon_tries.hpp"

#include <windows.h>

namespace elvantris::operator_control {

class tray_icon {
public:
    static constexpr UINT message = WM_APP + 42; // what the window receives from the icon

    // Adds the icon for `window`. To be called again when the shell has started anew.
    void add(HWND window);
    // Adds it if it is still missing and another try is due.
    void add_if_missing(steady_time now);
    void remove();

private:
    HWND window_ = nullptr;
    icon_tries tries_;
};

} // namespace elvantris::operator_control
