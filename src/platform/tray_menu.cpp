#include "platform/tray_menu.hpp"

namespace elvantris::operator_control {
namespace {

tray_menu_item information(const std::string& line, const char* if_empty) {
    return {line.empty() ? if_empty : line, menu_command::none, menu_item_state::greyed};
}

} // namespace

std::vector<tray_menu_item> build_tray_menu(const tray_status& status, bool autostart) {
    using enum menu_command;
    using enum menu_item_state;
    const tray_menu_item line;
    return {{"Open Redundancy Control", open_ui, default_item},
            {"Configure Redundancy", open_configure, usual},
            line,
            information(status.main_line, "Main: --"),
            information(status.backup_line, "Backup: --"),
            information(status.sync_line, "Show Sync: --"),
            information("Stream Decks: " + std::to_string(status.deck_count), ""),
            line,
            {"Show Log", show_log, usual},
            {"Start with Windows", toggle_autostart, autostart ? checked : usual},
            line,
            {"Exit", exit_app, usual}};
}

} // namespace elvantris::operator_control
