#include "systems/server_replies.hpp"

#include "json/field_scanner.hpp"

#include <algorithm>

namespace elvantris::operator_control {
namespace {

// For bools and integers the second spelling wins where it can be read.
bool read_bool(std::string_view text, std::string_view camel, std::string_view pascal) {
    return json_read_bool(text, pascal, json_read_bool(text, camel, false));
}

std::int64_t read_int64(std::string_view text, std::string_view camel, std::string_view pascal) {
    return json_read_int64(text, pascal, json_read_int64(text, camel, 0));
}

std::int32_t read_int(std::string_view text, std::string_view camel, std::string_view pascal) {
    return json_read_int(text, pascal, json_read_int(text, camel, 0));
}

operator_control_system parse_system(std::string_view text) {
    return {.serial = json_read_string_pair(text, "Serial", "serial"),
            .workstation_name = json_read_string_pair(text, "WorkstationName", "workstationName"),
            .address = json_read_string_pair(text, "Address", "address"),
            .role = role_from_word(json_read_string_pair(text, "Role", "role")),
            .backup_for_serial = json_read_string_pair(text, "BackupForSerial", "backupForSerial")};
}

bool holds_main(const operator_control_config& config) {
    return std::ranges::any_of(config.systems, [](const operator_control_system& system) {
        return system.role == system_role::main;
    });
}

void merge_system(std::vector<operator_control_system>& systems,
                  const operator_control_system& source) {
    const auto known = std::ranges::find(systems, source.serial, &operator_control_system::serial);
    if (known == systems.end()) {
        systems.push_back(source);
        return;
    }
    const auto overwrite = [](std::string& target, const std::string& text) {
        if (!text.empty()) target = text;
    };
    overwrite(known->workstation_name, source.workstation_name);
    overwrite(known->address, source.address);
    overwrite(known->backup_for_serial, source.backup_for_serial);
    if (source.role != system_role::independent) known->role = source.role;
}

// A lone Backup that doesn't say whose it is belongs to the lone Main.
void complete_single_pair(std::vector<operator_control_system>& systems) {
    const auto count = [&](system_role role) {
        return std::ranges::count(systems, role, &operator_control_system::role);
    };
    if (count(system_role::main) != 1 || count(system_role::backup) != 1) return;
    const auto find = [&](system_role role) {
        return std::ranges::find(systems, role, &operator_control_system::role);
    };
    const auto backup = find(system_role::backup);
    if (backup->backup_for_serial.empty())
        backup->backup_for_serial = find(system_role::main)->serial;
}

} // namespace

operator_control_config parse_operator_control_config(std::string_view text) {
    operator_control_config config;
    config.enabled = read_bool(text, "enabled", "Enabled");
    std::vector<std::string> elements = json_read_object_list(text, "Systems");
    if (elements.empty()) elements = json_read_object_list(text, "systems");
    for (const std::string& element : elements) {
        operator_control_system system = parse_system(element);
        if (!system.serial.empty()) config.systems.push_back(std::move(system));
    }
    config.shared_function_ids = json_read_int_set(text, "SharedFunctionIds");
    if (config.shared_function_ids.empty())
        config.shared_function_ids = json_read_int_set(text, "sharedFunctionIds");
    config.replication_revision = read_int64(text, "replicationRevision", "ReplicationRevision");
    return config;
}

replication_status parse_replication_status(std::string_view text) {
    return {.enabled = read_bool(text, "enabled", "Enabled"),
            .role = json_read_string_pair(text, "Role", "role"),
            .local_serial = json_read_string_pair(text, "LocalSerial", "localSerial"),
            .main_serial = json_read_string_pair(text, "MainSerial", "mainSerial"),
            .revision = read_int64(text, "revision", "Revision"),
            .applied_revision = read_int64(text, "appliedRevision", "AppliedRevision"),
            .pending_media = read_int(text, "pendingMedia", "PendingMedia"),
            .event_title = json_read_string_pair(text, "EventTitle", "eventTitle"),
            .last_error = json_read_string_pair(text, "LastError", "lastError")};
}

std::string parse_identity_serial(std::string_view text) {
    return json_read_string_pair(text, "Serial", "serial");
}

operator_control_config
merge_discovered_configs(const std::vector<operator_control_config>& configs) {
    operator_control_config merged;
    bool shared_set_from_main = false;
    for (const operator_control_config& config : configs) {
        if (!config.enabled) continue;
        merged.enabled = true;
        const bool has_main = holds_main(config);
        for (const operator_control_system& system : config.systems)
            merge_system(merged.systems, system);
        if (!config.shared_function_ids.empty() && (has_main || !shared_set_from_main)) {
            merged.shared_function_ids = config.shared_function_ids;
            shared_set_from_main = shared_set_from_main || has_main;
        }
    }
    complete_single_pair(merged.systems);
    return merged;
}

} // namespace elvantris::operator_control
