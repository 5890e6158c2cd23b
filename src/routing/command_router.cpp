#include "routing/command_router.hpp"

#include "os/sockets.hpp"
#include "os/standard_streams.hpp"

#include <exception>
#include <future>
#include <optional>
#include <system_error>

namespace elvantris::operator_control {
namespace {

delivery_target target_of(const system_record& system) {
    return {.role = system.role,
            .address = system.address,
            .control_port = control_port,
            .web_port = system.webPort,
            .workstation = system.workstation,
            .serial = system.serial,
            .enabled = true};
}

std::future<delivery_result> start_delivery(std::string_view place, const system_record& system,
                                            const std::string& payload) {
    write_output_line("[route] " + std::string(place) + " -> " + system.address + ':' +
                      std::to_string(control_port) + " serial=" + system.serial);
    const auto deliver = [target = target_of(system), payload] {
        return udp_send_command(target, payload);
    };
    try {
        return std::async(std::launch::async, deliver);
    } catch (const std::system_error&) {
        // Without a thread to spare the command still goes out, from the caller's own.
        return std::async(std::launch::deferred, deliver);
    }
}

// Why nothing was sent; empty if the datagram left whole.
std::string send_error(const delivery_target& target, const std::string& payload) {
    const socket_runtime runtime;
    if (!runtime.started()) return "WSAStartup failed";
    const socket_handle socket = open_datagram_socket();
    if (!socket.valid()) return "Unable to create UDP socket";
    const auto to = ipv4_address(target.address, target.control_port);
    if (!to) return "Invalid IPv4 address: " + target.address;
    return send_datagram(socket, *to, payload) ? "" : "UDP send failed";
}

} // namespace

fanout_result command_router::route_streamdeck(std::int32_t function_id,
                                               const std::string& target_serial,
                                               const std::string& payload) {
    fanout_result result{.sequence = ++sequence_, .payload = payload, .deliveries = {}};
    const std::optional<system_record> target =
        target_serial.empty() ? registry_.find_main() : registry_.find_system(target_serial);
    if (!target) return result;

    std::vector<std::future<delivery_result>> started;
    if (target->online)
        started.push_back(start_delivery("Main", *target, payload));
    else
        write_output_line("[route] Main offline -> " + target->serial);

    if (registry_.shared_function_ids().contains(function_id)) {
        const auto backup = registry_.find_backup_for(target->serial);
        if (backup && backup->online)
            started.push_back(start_delivery("Backup", *backup, payload));
        else
            write_output_line("[route] Backup unavailable for Main " + target->serial);
    }
    for (std::future<delivery_result>& delivery : started)
        result.deliveries.push_back(delivery.get());
    return result;
}

delivery_result udp_send_command(const delivery_target& target, const std::string& payload) {
    delivery_result result{
        .role = target.role, .attempted = target.enabled, .sent = false, .error = {}};
    if (!target.enabled) return result;
    try {
        result.error = send_error(target, payload);
        result.sent = result.error.empty();
    } catch (const std::exception& failure) {
        result.error = failure.what();
    }
    return result;
}

} // namespace elvantris::operator_control
