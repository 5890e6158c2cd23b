#include "systems/registry_file.hpp"

#include "json/escape.hpp"
#include "json/field_scanner.hpp"

#include <algorithm>

namespace elvantris::operator_control {
namespace {

void append_text(std::string& out, std::string_view name, std::string_view value) {
    out.append(",\"").append(name).append("\":\"").append(json_escape(value)).append("\"");
}

void append_bare(std::string& out, std::string_view name, std::string_view value) {
    out.append(",\"").append(name).append("\":").append(value);
}

std::string write_system(const system_record& system) {
    std::string out = "{\"serial\":\"" + json_escape(system.serial) + '"';
    append_text(out, "workstation", system.workstation);
    append_text(out, "address", system.address);
    append_bare(out, "webPort", std::to_string(system.webPort));
    append_bare(out, "controlPort", std::to_string(control_port));
    append_text(out, "role", role_word(system.role));
    append_text(out, "backupForSerial", system.backupForSerial);
    append_bare(out, "online", json_bool(system.online));
    append_bare(out, "uiReady", json_bool(system.uiReady));
    append_bare(out, "replicationEnabled", json_bool(system.replicationEnabled));
    append_text(out, "replicationRole", system.replicationRole);
    append_bare(out, "replicationRevision", std::to_string(system.replicationRevision));
    append_bare(out, "replicationAppliedRevision",
                std::to_string(system.replicationAppliedRevision));
    append_bare(out, "replicationPendingMedia", std::to_string(system.replicationPendingMedia));
    append_text(out, "replicationEventTitle", system.replicationEventTitle);
    append_text(out, "replicationLastError", system.replicationLastError);
    return out + '}';
}

std::vector<system_record> read_systems(std::string_view text) {
    std::vector<system_record> systems;
    for (const std::string& element : json_read_object_list(text, "systems")) {
        system_record system;
        system.serial = json_read_string(element, "serial");
        system.workstation = json_read_string(element, "workstation");
        system.address = json_read_string(element, "address");
        system.webPort = static_cast<std::uint16_t>(json_read_int(element, "webPort", 5000));
        system.role = role_from_word(json_read_string(element, "role", "Independent"));
        system.backupForSerial = json_read_string(element, "backupForSerial");
        if (!system.serial.empty() || !system.address.empty()) systems.push_back(std::move(system));
    }
    return systems;
}

// Any Main counts here, and not only the first.
bool holds_a_pair(const std::vector<system_record>& systems) {
    return std::ranges::any_of(systems, [&](const system_record& main) {
        return main.role == system_role::main &&
               std::ranges::any_of(systems, [&](const system_record& backup) {
                   return backup.role == system_role::backup &&
                          backup.backupForSerial == main.serial;
               });
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
    std::string out = "{\"enabled\":";
    out += json_bool(state.enabled);
    append_bare(out, "controllerConfigured", json_bool(state.controllerConfigured));
    append_bare(out, "uiPort", std::to_string(state.uiPort));
    append_bare(out, "runtimeUiPort", std::to_string(state.runtimeUiPort));
    append_bare(out, "openBrowserOnStart", json_bool(state.openBrowserOnStart));
    append_bare(out, "systems", "[");
    for (const system_record& system : state.systems) {
        if (&system != &state.systems.front()) out += ',';
        out += write_system(system);
    }
    out += ']';
    append_bare(out, "sharedFunctionIds", "[");
    bool first = true;
    for (const std::int32_t id : state.sharedFunctionIds) {
        if (!first) out += ',';
        first = false;
        out += std::to_string(id);
    }
    out += ']';
    append_bare(out, "policySynchronized", json_bool(state.policySynchronized));
    append_text(out, "policySyncMessage", state.policySyncMessage);
    return out + '}';
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
