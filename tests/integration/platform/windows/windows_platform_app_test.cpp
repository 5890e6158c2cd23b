#include "platform/platform_app.hpp"
#include "platform/windows/windows_platform_app.hpp"

#include "integration/support/eventually.hpp"

#include <gtest/gtest.h>

#include <future>
#include <windows.h>

#include <shellapi.h>

namespace elvantris::operator_control {
namespace {

constexpr UINT tray_message = WM_APP + 42;

HWND tray_window() {
    return ::FindWindowW(L"ElvantrisOperatorControlTrayWindow", nullptr);
}

// Whether `pump_events` comes back by itself. A menu that stays open is closed from outside.
bool comes_back(platform_app& app) {
    std::promise<void> back;
    auto watch = std::async(std::launch::async, [waiting = back.get_future()] {
        const bool in_time =
            waiting.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
        if (!in_time) ::PostMessageW(tray_window(), WM_CANCELMODE, 0, 0);
        return in_time;
    });
    app.pump_events();
    back.set_value();
    return watch.get();
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

TEST(windows_platform_app, exits_once_it_is_asked_to_close_or_the_session_ends) {
    const auto app = create_platform_app();
    int exits = 0;
    ASSERT_TRUE(app->initialize({}, {}, {}, [&] { ++exits; }, 5270, {}));
    EXPECT_EQ(::SendMessageW(tray_window(), WM_CLOSE, 0, 0), 0);
    EXPECT_EQ(exits, 1);
    // Nobody is held up by the question, and an end that is called off is none.
    EXPECT_NE(::SendMessageW(tray_window(), WM_QUERYENDSESSION, 0, 0), FALSE);
    EXPECT_EQ(::SendMessageW(tray_window(), WM_ENDSESSION, FALSE, 0), 0);
    EXPECT_EQ(exits, 1);
    EXPECT_EQ(::SendMessageW(tray_window(), WM_ENDSESSION, TRUE, 0), 0);
    EXPECT_EQ(exits, 2);
    // The window goes with the program, and not before it.
    EXPECT_NE(tray_window(), nullptr);
}

TEST(windows_platform_app, closes_a_menu_that_was_left_open) {
    const auto app = create_windows_platform_app(milliseconds(100));
    ASSERT_TRUE(app->initialize({}, {}, {}, {}, 5270, {}));
    ::PostMessageW(tray_window(), tray_message, 0, WM_CONTEXTMENU);
    EXPECT_TRUE(comes_back(*app));
}

TEST(windows_platform_app, closes_its_menu_when_it_is_to_end) {
    for (const auto& [message, word] :
         {std::pair<UINT, WPARAM>(WM_CLOSE, 0), {WM_ENDSESSION, TRUE}, {WM_COMMAND, 1005}}) {
        const auto app = create_platform_app();
        bool exited = false;
        ASSERT_TRUE(app->initialize({}, {}, {}, [&] { exited = true; }, 5270, {}));
        // Taken from the queue by the open menu.
        ::PostMessageW(tray_window(), tray_message, 0, WM_CONTEXTMENU);
        ::PostMessageW(tray_window(), message, word, 0);
        EXPECT_TRUE(comes_back(*app)) << message;
        EXPECT_TRUE(exited) << message;
    }
}

TEST(windows_platform_app, does_nothing_when_it_is_pumped_from_within) {
    const auto app = create_platform_app();
    std::string called;
    const auto pump_within = [&] {
        called += '(';
        app->pump_events();
        called += ')';
    };
    ASSERT_TRUE(app->initialize(pump_within, [&] { called += 'c'; }, {}, {}, 5270, {}));
    for (const WPARAM command : {1001U, 1002U})
        ::PostMessageW(tray_window(), WM_COMMAND, command, 0);
    app->pump_events();
    EXPECT_EQ(called, "()c");
    ::PostMessageW(tray_window(), WM_COMMAND, 1002, 0);
    app->pump_events();
    EXPECT_EQ(called, "()cc");
}

TEST(windows_platform_app, survives_its_shutdown_from_within_a_message) {
    const auto app = create_platform_app();
    ASSERT_TRUE(app->initialize({}, {}, {}, [&] { app->shutdown(); }, 5270, {}));
    ::PostMessageW(tray_window(), WM_CLOSE, 0, 0);
    ::PostMessageW(tray_window(), WM_CLOSE, 0, 0);
    app->pump_events();
    EXPECT_EQ(tray_window(), nullptr);
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
