// What the tray's menu holds, apart from any system's way of drawing it.
#pragma once

#include "platform/platform_app.hpp"

#include <string>
#include <vector>

namespace elvantris::operator_control {

enum class menu_command {
    none = 0,
    open_ui = 1001,
    open_configure = 1002,
    show_log = 1003,
    toggle_autostart = 1004,
    exit_app = 1005
};

enum class menu_item_state { separator, usual, default_item, checked, greyed };

struct tray_menu_item {
    std::string text;
    menu_command command = menu_command::none;
    menu_item_state state =
        menu_item_state::separator; // `default_item`: what a double click does, too
};

// From top to bottom. Pure.
std::vector<tray_menu_item> build_tray_menu(const tray_status& status, bool autostart);

} // namespace elvantris::operator_control
