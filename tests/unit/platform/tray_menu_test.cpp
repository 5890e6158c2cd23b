#include "platform/tray_menu.hpp"

#include <gtest/gtest.h>

namespace elvantris::operator_control {
namespace {

const tray_status ready_pair{.main_line = "Main: Studio A - Ready",
                             .backup_line = "Backup: Studio B - Ready",
                             .sync_line = "Show Sync: In Sync - Rev 12",
                             .deck_count = 2};

std::string in_words(menu_item_state state) {
    switch (state) {
    case menu_item_state::separator:
        return "separator";
    case menu_item_state::usual:
        return "usual";
    case menu_item_state::default_item:
        return "preset";
    case menu_item_state::checked:
        return "checked";
    case menu_item_state::greyed:
        return "greyed";
    }
    return {};
}

std::vector<std::string> in_words(const std::vector<tray_menu_item>& menu) {
    std::vector<std::string> lines;
    for (const tray_menu_item& item : menu)
        lines.push_back(item.text + " | " + std::to_string(static_cast<int>(item.command)) + " | " +
                        in_words(item.state));
    return lines;
}

TEST(build_tray_menu, holds_the_ways_into_the_program_around_the_state_of_the_pair) {
    EXPECT_EQ(
        in_words(build_tray_menu(ready_pair, false)),
        (std::vector<std::string>{
            "Open Redundancy Control | 1001 | preset", "Configure Redundancy | 1002 | usual",
            " | 0 | separator", "Main: Studio A - Ready | 0 | greyed",
            "Backup: Studio B - Ready | 0 | greyed", "Show Sync: In Sync - Rev 12 | 0 | greyed",
            "Stream Decks: 2 | 0 | greyed", " | 0 | separator", "Show Log | 1003 | usual",
            "Start with Windows | 1004 | usual", " | 0 | separator", "Exit | 1005 | usual"}));
}

TEST(build_tray_menu, shows_dashes_before_the_first_pass_has_told_anything) {
    const auto menu = build_tray_menu({}, false);
    EXPECT_EQ(menu[3].text, "Main: --");
    EXPECT_EQ(menu[4].text, "Backup: --");
    EXPECT_EQ(menu[5].text, "Show Sync: --");
    EXPECT_EQ(menu[6].text, "Stream Decks: 0");
}

TEST(build_tray_menu, checks_the_start_with_the_session_and_nothing_else) {
    const auto menu = build_tray_menu(ready_pair, true);
    for (const tray_menu_item& item : menu)
        EXPECT_EQ(item.state == menu_item_state::checked,
                  item.command == menu_command::toggle_autostart)
            << item.text;
}

TEST(build_tray_menu, counts_decks_without_a_limit_of_its_own) {
    tray_status status = ready_pair;
    status.deck_count = 18446744073709551615U;
    EXPECT_EQ(build_tray_menu(status, false)[6].text, "Stream Decks: 18446744073709551615");
}

} // namespace
} // namespace elvantris::operator_control
