// The long-lived objects of the first instance: what runs between its start and its end.
//
// Threads: everything here belongs to the first thread.
// Ownership: the registry and the log's path outlive it.
// Failure: `start` gives the exit code, or throws if there is no thread or no memory. What was
//   started by then is stopped by the destructor.
#pragma once

#include "app/exit_code.hpp"
#include "decks/operator_deck_manager.hpp"
#include "decks/streamdeck_adapter.hpp"
#include "local/api_server.hpp"
#include "local/ui_shell_server.hpp"
#include "platform/platform_app.hpp"
#include "protection/protection_service.hpp"
#include "routing/command_router.hpp"
#include "systems/controller_registry.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace elvantris::operator_control {

inline constexpr std::uint16_t api_port = 5251;

struct services {
    // `given_up` ends the wait for a settings file that can't be read; nothing may be started then.
    services(controller_registry& known, const std::string& log,
             const std::function<bool()>& given_up);
    ~services();
    services(const services&) = delete;
    services& operator=(const services&) = delete;
    services(services&&) = delete;
    services& operator=(services&&) = delete;

    // `exit_app` is what the tray's Exit calls.
    exit_code start(platform_app::operation exit_app);
    // In its fixed order; what never started is passed over. Safe to repeat.
    void stop();

    // In the order of their construction.
    controller_registry& registry;
    const std::string& log_path;
    command_router router;
    std::unique_ptr<streamdeck_adapter> adapter;
    protection_service protection;
    api_server api;
    ui_shell_server shell;
    operator_deck_manager decks;
    std::unique_ptr<platform_app> platform; // null until `start` has come to it
};

} // namespace elvantris::operator_control
