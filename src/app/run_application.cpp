#include "app/run_application.hpp"

#include "app/exit_code.hpp"
#include "app/launch_options.hpp"
#include "app/log_redirect.hpp"
#include "app/pass_events.hpp"
#include "app/refresh_pass.hpp"
#include "app/second_instance.hpp"
#include "app/services.hpp"
#include "app/tray_status.hpp"
#include "app/ui_address.hpp"
#include "local/ui_shell_server.hpp"
#include "os/clock.hpp"
#include "os/file_paths.hpp"
#include "os/process.hpp"
#include "os/sockets.hpp"
#include "os/standard_streams.hpp"
#include "platform/console.hpp"
#include "platform/open_external.hpp"
#include "platform/platform_app.hpp"
#include "platform/single_instance.hpp"
#include "systems/controller_registry.hpp"
#include "systems/settings_place.hpp"

#include <atomic>
#include <chrono>
#include <clocale>
#include <csignal>
#include <cstdint>
#include <exception>
#include <functional>
#include <iostream>
#include <string>
#include <thread>

namespace elvantris::operator_control {
namespace {

constexpr std::chrono::seconds refresh_period{2};

// A page that changes its port must come back, so its start is retried while there is no thread.
constexpr int shell_start_attempts = 20;
constexpr std::chrono::milliseconds shell_start_pause{100};

// False once a stop has been asked for: by a signal, the tray, or a UI port that can't be restored.
std::atomic<bool> application_running{true};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler stores to it");

// Some systems forget the handler when it is called; a second signal must not cut the stop short.
void stop_on_signal(int signal) {
    std::signal(signal, stop_on_signal);
    application_running = false;
}

bool is_to_end() {
    return !application_running;
}

void handle_stop_signals() {
    std::signal(SIGINT, stop_on_signal);
    std::signal(SIGTERM, stop_on_signal);
}

void write_banner(const launch_options& options, std::uint16_t ui_port,
                  const std::string& log_path) {
    std::cout << "Elvantris Redundancy Control " ELVANTRIS_VERSION "\n"
                 "Operator view: " +
                     ui_address(ui_port, false) +
                     "\n"
                     "Diagnostics:   " +
                     ui_address(api_port, false) +
                     "\n"
                     "Config:        " +
                     options.config_path +
                     "\n"
                     "Log:           " +
                     log_path + "\n";
}

// False if the port can't be had, or if there is no thread for two seconds.
bool start_again(ui_shell_server& shell, std::uint16_t port) {
    for (int attempt = 0; attempt < shell_start_attempts && application_running; ++attempt) {
        try {
            return shell.start(port);
        } catch (const std::exception&) {
            std::this_thread::sleep_for(shell_start_pause);
        }
    }
    return false;
}

// Follows the configured UI port. False if neither the new nor the old port can be had.
bool follow_ui_port(controller_registry& registry, ui_shell_server& shell, platform_app& platform,
                    std::uint16_t& bound_port) {
    const std::uint16_t wanted = registry.ui_port();
    if (wanted == bound_port) return true;
    const auto announce = [&] {
        registry.set_runtime_ui_port(bound_port);
        platform.set_ui_port_hint(bound_port);
    };
    shell.stop();
    if (start_again(shell, wanted)) {
        bound_port = wanted;
        announce();
        write_output_line("[shell] UI port changed to " + std::to_string(wanted));
        return true;
    }
    if (!application_running) return true; // the end has come first; the wanted port stays wanted
    write_error_line("[shell] unable to bind requested UI port " + std::to_string(wanted) +
                     "; restoring " + std::to_string(bound_port));
    registry.set_ui_port(bound_port);
    registry.save();
    if (!start_again(shell, bound_port)) {
        write_error_line("[shell] unable to restore previous UI port; shutting down");
        return false;
    }
    announce();
    return true;
}

// What a pass asks while it waits for the network: whether it is still wanted. The tray's events go
// on meanwhile, and none of them can begin a pass.
bool is_given_up(platform_app& platform, pass_events& events) {
    const steady_time begun = steady_now();
    if (events.due(begun)) {
        platform.pump_events();
        events.ran(begun, steady_now());
    }
    return events.stale() || is_to_end();
}

void refresh(controller_registry& registry, streamdeck_adapter& adapter, platform_app& platform,
             refresh_memory& memory) {
    try {
        pass_events events;
        run_refresh_pass(registry, memory, [&] { return is_given_up(platform, events); });
        platform.update_status(build_tray_status(registry, adapter.list_decks().size()));
    } catch (const std::exception& failure) {
        write_failure_line("Redundancy Control refresh: ", failure);
    }
}

// Tray events about twenty times a second, a refresh pass 2 seconds after the end of the last.
void run_main_loop(controller_registry& registry, streamdeck_adapter& adapter,
                   ui_shell_server& shell, platform_app& platform) {
    std::uint16_t bound_port = shell.port();
    steady_time next_refresh = steady_time::min();
    refresh_memory memory;
    while (application_running) {
        platform.pump_events();
        if (!follow_ui_port(registry, shell, platform, bound_port)) {
            application_running = false;
            return;
        }
        if (steady_now() >= next_refresh) {
            refresh(registry, adapter, platform, memory);
            next_refresh = steady_now() + refresh_period;
        }
        std::this_thread::sleep_for(event_period);
    }
}

// The first instance's life, from its servers to their end.
exit_code run_services(const launch_options& options, const std::string& log_path,
                       controller_registry& registry) {
    services all(registry, log_path, is_to_end);
    if (is_to_end()) return exit_normal;
    const exit_code outcome = all.start([] { application_running = false; });
    if (outcome != exit_normal) return outcome;
    write_banner(options, registry.ui_port(), log_path);
    if (!options.background && (registry.open_browser_on_start() || options.configure))
        open_external(ui_address(registry.ui_port(), options.configure));
    run_main_loop(registry, *all.adapter, all.shell, *all.platform);
    return exit_normal;
}

exit_code run_instance(const launch_options& options, const std::string& log_path) {
    const socket_runtime sockets;
    if (!sockets.started()) {
        write_error_line("Unable to initialize the platform socket runtime.");
        return exit_no_sockets;
    }
    controller_registry registry(options.config_path);
    registry.load(is_to_end);
    if (is_to_end()) return exit_normal;
    single_instance instance;
    if (!instance.acquire_single_instance()) {
        if (!instance.refusal().empty()) write_error_line(instance.refusal());
        give_way_to_first_instance(options, registry);
        return exit_normal;
    }
    return run_services(options, log_path, registry);
}

} // namespace

int run_application(int argc, char** argv) {
    application_running = true;
    handle_stop_signals();
    ignore_write_signals();
    raise_descriptor_limit();
    // The names of HID devices come through the C library, which knows ASCII alone until told.
    std::setlocale(LC_CTYPE, "C.UTF-8");

    const launch_options options = parse_command_line(argc, argv);
    attach_console(options.console);
    // A new console has forgotten the handlers that were there before it.
    handle_stop_signals();
    const std::string log_path = log_path_for(options.config_path);
    create_folders(parent_folder(log_path));
    const log_redirect redirect(log_path, options.console);

    try {
        return run_instance(options, log_path);
    } catch (const std::exception&) {
        write_error_line("Unable to run Redundancy Control: no thread or no memory left.");
        return exit_no_resources;
    }
}

} // namespace elvantris::operator_control
