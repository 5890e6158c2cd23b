#include "app/status_lines.hpp"

#include "os/standard_streams.hpp"

#include <string_view>
#include <utility>

namespace elvantris::operator_control {
namespace {

std::string_view bit(bool value) {
    return value ? "1" : "0";
}
std::string_view word(bool value) {
    return value ? "true" : "false";
}

} // namespace

std::string status_signature(const status_view& view) {
    std::string signature;
    signature.append(bit(view.enabled)).append("|").append(view.active_role).append("|");
    for (const system_record& system : view.systems)
        signature.append(system.serial)
            .append("|")
            .append(role_word(system.role))
            .append("|")
            .append(bit(system.online))
            .append("|")
            .append(bit(system.uiReady))
            .append("|")
            .append(system.address)
            .append("|")
            .append(std::to_string(system.webPort))
            .append("|")
            .append(system.backupForSerial)
            .append(";");
    return signature;
}

std::vector<std::string> status_lines(const status_view& view) {
    std::vector<std::string> lines{"[status] enabled=" + std::string(word(view.enabled)) +
                                   " active=" + view.active_role};
    for (const system_record& system : view.systems) {
        std::string line = "[status] " + system.serial + " role=";
        line.append(role_word(system.role))
            .append(" online=")
            .append(word(system.online))
            .append(" uiReady=")
            .append(word(system.uiReady))
            .append(" address=")
            .append(system.address)
            .append(" web=")
            .append(std::to_string(system.webPort))
            .append(" control=" + std::to_string(control_port));
        if (!system.backupForSerial.empty()) line += " backupFor=" + system.backupForSerial;
        lines.push_back(std::move(line));
    }
    return lines;
}

void write_status(const controller_registry& registry, std::string& last_signature) {
    const status_view view{.enabled = registry.enabled(),
                           .active_role = registry.active_role(),
                           .systems = registry.systems()};
    std::string signature = status_signature(view);
    if (signature == last_signature) return;
    last_signature = std::move(signature);
    for (const std::string& line : status_lines(view))
        write_output_line(line);
}

} // namespace elvantris::operator_control
