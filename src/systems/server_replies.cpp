#include "systems/server_replies.hpp"

#include "json/field_scanner.hpp"
#include "systems/known_systems.hpp"

#include <algorithm>
#include <unordered_map>
#include <utility>

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

std::string read_text(std::string_view text, std::string_view pascal, std::string_view camel) {
    return cut_network_text(json_read_string_pair(text, pascal, camel));
}

operator_control_system parse_system(std::string_view text) {
    return {.serial = read_text(text, "Serial", "serial"),
            .workstation_name = read_text(text, "WorkstationName", "workstationName"),
            .address = read_text(text, "Address", "address"),
            .role = role_from_word(json_read_string_pair(text, "Role", "role")),
            .backup_for_serial = read_text(text, "BackupForSerial", "backupForSerial")};
}

std::size_t text_size(const operator_control_system& system) {
    return system.serial.size() + system.workstation_name.size() + system.address.size() +
           system.backup_for_serial.size();
}

// The systems of the list under this key, and whether it held any object, with a serial or not.
bool read_systems(std::string_view text, std::string_view key,
                  std::vector<operator_control_system>& systems) {
    json_object_cursor cursor(json_view_array(text, key));
    std::size_t read = 0;
    std::size_t bytes = 0;
    for (; read < most_pairing_systems; ++read) {
        const auto element = cursor.next();
        if (!element) break;
        operator_control_system system = parse_system(*element);
        bytes += text_size(system);
        if (bytes > most_pairing_text) break;
        if (!system.serial.empty()) systems.push_back(std::move(system));
    }
    return read > 0;
}

bool holds_main(const operator_control_config& config) {
    return std::ranges::any_of(config.systems, [](const operator_control_system& system) {
        return system.role == system_role::main;
    });
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

class config_merger {
public:
    void add(const operator_control_config& config);
    operator_control_config take();

private:
    void add_system(const operator_control_system& system);

    operator_control_config merged_;
    std::unordered_map<std::string, std::size_t> index_; // by serial
    std::size_t bytes_ = 0;
    bool shared_set_from_main_ = false;
};

void config_merger::add(const operator_control_config& config) {
    if (!config.enabled) return;
    merged_.enabled = true;
    const bool has_main = holds_main(config);
    for (const operator_control_system& system : config.systems)
        add_system(system);
    if (!config.shared_function_ids.empty() && (has_main || !shared_set_from_main_)) {
        merged_.shared_function_ids = config.shared_function_ids;
        shared_set_from_main_ = shared_set_from_main_ || has_main;
    }
}

void config_merger::add_system(const operator_control_system& system) {
    const auto known = index_.find(system.serial);
    if (known == index_.end()) {
        const std::size_t size = text_size(system);
        // Those without a role leave half of the room to those who have one.
        const std::size_t share = system.role == system_role::independent ? 2 : 1;
        if (merged_.systems.size() >= most_pairing_systems / share ||
            bytes_ + size > most_pairing_text / share)
            return;
        bytes_ += size;
        index_.emplace(system.serial, merged_.systems.size());
        merged_.systems.push_back(system);
        return;
    }
    operator_control_system& target = merged_.systems[known->second];
    const auto overwrite = [&](std::string& text, const std::string& later) {
        if (later.empty() || bytes_ - text.size() + later.size() > most_pairing_text) return;
        bytes_ += later.size() - text.size();
        text = later;
    };
    overwrite(target.workstation_name, system.workstation_name);
    overwrite(target.address, system.address);
    overwrite(target.backup_for_serial, system.backup_for_serial);
    if (system.role != system_role::independent) target.role = system.role;
}

operator_control_config config_merger::take() {
    complete_single_pair(merged_.systems);
    return std::move(merged_);
}

} // namespace

operator_control_config parse_operator_control_config(std::string_view text) {
    operator_control_config config;
    config.enabled = read_bool(text, "enabled", "Enabled");
    if (!read_systems(text, "Systems", config.systems))
        read_systems(text, "systems", config.systems);
    config.shared_function_ids = json_read_int_set(text, "SharedFunctionIds", most_shared_ids);
    if (config.shared_function_ids.empty())
        config.shared_function_ids = json_read_int_set(text, "sharedFunctionIds", most_shared_ids);
    config.replication_revision = read_int64(text, "replicationRevision", "ReplicationRevision");
    return config;
}

replication_status parse_replication_status(std::string_view text) {
    return {.enabled = read_bool(text, "enabled", "Enabled"),
            .role = read_text(text, "Role", "role"),
            .local_serial = read_text(text, "LocalSerial", "localSerial"),
            .main_serial = read_text(text, "MainSerial", "mainSerial"),
            .revision = read_int64(text, "revision", "Revision"),
            .applied_revision = read_int64(text, "appliedRevision", "AppliedRevision"),
            .pending_media = read_int(text, "pendingMedia", "PendingMedia"),
            .event_title = read_text(text, "EventTitle", "eventTitle"),
            .last_error = read_text(text, "LastError", "lastError")};
}

std::string parse_identity_serial(std::string_view text) {
    return json_read_string_pair(text, "Serial", "serial");
}

operator_control_config
merge_discovered_configs(const std::vector<operator_control_config>& configs) {
    config_merger merger;
    for (const operator_control_config& config : configs)
        merger.add(config);
    return merger.take();
}

} // namespace elvantris::operator_control
