#include "platform/platform_app.hpp"

#include <gtest/gtest.h>

#include <windows.h>

namespace elvantris::operator_control {
namespace {

constexpr UINT tray_message = WM_APP + 42;

HWND tray_window() {
    return ::FindWindowW(L"ElvantrisOperatorControlTrayWindow", nullptr);
}

TEST(windows_platform_app, takes_every_operation_before_it_is_initialized) {
    const auto app = create_platform_app();
    app->pump_events();
    app->update_status({"Main: Studio A - Ready", "Backup: --", "Show Sync: --", 1});
    app->set_ui_port_hint(5290);
    const bool enabled = app->autostart_enabled();
    EXPECT_TRUE(app->set_autostart(!enabled));
    EXPECT_EQ(app->autostart_enabled(), !enabled);
    EXPECT_TRUE(app->set_autostart(enabled));
    app->shutdown();
    EXPECT_EQ(tray_window(), nullptr);
}

TEST(windows_platform_app, calls_what_the_menu_and_the_icon_are_for) {
    const auto app = create_platform_app();
    std::string called;
    ASSERT_TRUE(app->initialize([&] { called += 'u'; }, [&] { called += 'c'; },
                                [&] { called += 'l'; }, [&] { called += 'x'; }, 5270, "log"));
    for (const WPARAM command : {1001U, 1002U, 1003U, 1005U, 0U, 1000U, 1006U})
        ::PostMessageW(tray_window(), WM_COMMAND, command, 0);
    ::PostMessageW(tray_window(), tray_message, 0, WM_LBUTTONDBLCLK);
    EXPECT_EQ(called, "");
    app->pump_events();
    EXPECT_EQ(called, "uclxu");
}

TEST(windows_platform_app, runs_on_with_functions_that_are_empty) {
    const auto app = create_platform_app();
    ASSERT_TRUE(app->initialize({}, {}, {}, {}, 5270, {}));
    ASSERT_NE(tray_window(), nullptr);
    for (const WPARAM command : {1001U, 1002U, 1003U, 1005U})
        ::PostMessageW(tray_window(), WM_COMMAND, command, 0);
    ::PostMessageW(tray_window(), tray_message, 0, WM_LBUTTONDBLCLK);
    app->pump_events();
    app->shutdown();
    EXPECT_EQ(tray_window(), nullptr);
    app->shutdown();
    app->pump_events();
}

TEST(windows_platform_app, can_be_made_again_after_its_end) {
    for (int round = 0; round < 2; ++round) {
        const auto app = create_platform_app();
        EXPECT_TRUE(app->initialize({}, {}, {}, {}, 5270, {}));
    }
    EXPECT_EQ(tray_window(), nullptr);
}

} // namespace
} // namespace elvantris::operator_control
