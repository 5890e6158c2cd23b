// What the program asks of the desktop: a tray with the pair's state and the ways into the program.
//
// Threads: all operations run on the thread that called `initialize`; the four functions are
//   called from inside `pump_events`.
// Failure: told by the results, and the program runs on without a tray.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace elvantris::operator_control {

// The lines that the tray's menu shows.
struct tray_status {
    std::string main_line;
    std::string backup_line;
    std::string sync_line;
    std::uint64_t deck_count = 0;
};

class platform_app {
public:
    using operation = std::function<void()>;

    platform_app() = default;
    virtual ~platform_app() = default;
    platform_app(const platform_app&) = delete;
    platform_app& operator=(const platform_app&) = delete;
    platform_app(platform_app&&) = delete;
    platform_app& operator=(platform_app&&) = delete;

    // True if there is a tray from now on.
    virtual bool initialize(operation open_ui, operation open_configure, operation show_log,
                            operation exit_app, std::uint16_t ui_port, std::string log_path) = 0;
    // Runs what the desktop has to tell; returns at once if it has nothing. Legal at any time.
    virtual void pump_events() = 0;
    virtual void update_status(const tray_status& status) = 0;
    virtual void set_ui_port_hint(std::uint16_t port) = 0;
    virtual bool autostart_enabled() = 0;
    virtual bool set_autostart(bool value) = 0;
    // Safe to repeat.
    virtual void shutdown() = 0;
};

// This system's desktop. Not started by this.
std::unique_ptr<platform_app> create_platform_app();

} // namespace elvantris::operator_control
