#include "systems/registry_state.hpp"

#include "json/field_scanner.hpp"
#include "json/object_writer.hpp"
#include "systems/known_systems.hpp"

#include <algorithm>
#include <unordered_set>
#include <utility>

namespace elvantris::operator_control {
namespace {

std::string write_system(const system_record& system) {
    return json_object_writer()
        .text("serial", system.serial)
        .text("workstation", system.workstation)
        .text("address", system.address)
        .number("webPort", system.webPort)
        .number("controlPort", control_port)
        .text("role", role_word(system.role))
        .text("backupForSerial", system.backupForSerial)
        .flag("online", system.online)
        .flag("uiReady", system.uiReady)
        .flag("replicationEnabled", system.replicationEnabled)
        .text("replicationRole", system.replicationRole)
        .number("replicationRevision", system.replicationRevision)
        .number("replicationAppliedRevision", system.replicationAppliedRevision)
        .number("replicationPendingMedia", system.replicationPendingMedia)
        .text("replicationEventTitle", system.replicationEventTitle)
        .text("replicationLastError", system.replicationLastError)
        .written();
}

std::string read_text(std::string_view text, std::string_view key) {
    return cut_network_text(json_read_string(text, key));
}

std::vector<system_record> read_systems(std::string_view text) {
    std::vector<system_record> systems;
    json_object_cursor cursor(json_view_array(text, "systems"));
    while (const auto element = cursor.next()) {
        system_record system;
        system.serial = read_text(*element, "serial");
        system.workstation = read_text(*element, "workstation");
        system.address = read_text(*element, "address");
        system.webPort = static_cast<std::uint16_t>(json_read_int(*element, "webPort", 5000));
        system.role = role_from_word(json_read_string(*element, "role", "Independent"));
        system.backupForSerial = read_text(*element, "backupForSerial");
        if (system.serial.empty() && system.address.empty()) continue;
        systems.push_back(std::move(system));
        // An older version could save any number of them.
        if (systems.size() == 2 * most_known_systems) keep_known_systems_bounded(systems);
    }
    keep_known_systems_bounded(systems);
    return systems;
}

// Any Main counts here, and not only the first.
bool holds_a_pair(const std::vector<system_record>& systems) {
    std::unordered_set<std::string_view> mains;
    for (const system_record& system : systems)
        if (system.role == system_role::main) mains.insert(system.serial);
    return std::ranges::any_of(systems, [&](const system_record& system) {
        return system.role == system_role::backup && mains.contains(system.backupForSerial);
    });
}

} // namespace

std::set<std::int32_t> default_shared_function_ids() {
    std::set<std::int32_t> ids;
    for (std::int32_t id = 1; id <= 17; ++id)
        ids.insert(id);
    for (std::int32_t id = 24; id <= 29; ++id)
        ids.insert(id);
    return ids;
}

std::string write_registry_json(const registry_state& state) {
    const auto number = [](std::int32_t id) { return std::to_string(id); };
    return json_object_writer()
        .flag("enabled", state.enabled)
        .flag("controllerConfigured", state.controllerConfigured)
        .number("uiPort", state.uiPort)
        .number("runtimeUiPort", state.runtimeUiPort)
        .flag("openBrowserOnStart", state.openBrowserOnStart)
        .json("systems", json_array(state.systems, write_system))
        .json("sharedFunctionIds", json_array(state.sharedFunctionIds, number))
        .flag("policySynchronized", state.policySynchronized)
        .text("policySyncMessage", state.policySyncMessage)
        .written();
}

void read_registry_json(std::string_view text, registry_state& state) {
    state.systems = read_systems(text);
    state.enabled = json_read_bool(text, "enabled", false);
    state.controllerConfigured =
        json_read_bool(text, "controllerConfigured", holds_a_pair(state.systems));
    const std::int32_t port = json_read_int(text, "uiPort", default_ui_port);
    state.uiPort = port < lowest_ui_port || port > highest_ui_port
                       ? default_ui_port
                       : static_cast<std::uint16_t>(port);
    state.runtimeUiPort = state.uiPort;
    state.openBrowserOnStart = json_read_bool(text, "openBrowserOnStart", true);
    if (auto ids = json_read_int_set(text, "sharedFunctionIds"); !ids.empty())
        state.sharedFunctionIds = std::move(ids);
}

} // namespace elvantris::operator_control
