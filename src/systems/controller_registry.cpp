#include "systems/controller_registry.hpp"

#include "json/field_scanner.hpp"
#include "os/standard_streams.hpp"
#include "systems/known_systems.hpp"
#include "systems/record_merging.hpp"
#include "systems/server_choice.hpp"

#include <algorithm>
#include <utility>

namespace elvantris::operator_control {
namespace {

constexpr std::chrono::seconds silence_limit{6};
constexpr settings_file_rules configuration_rules{.is_whole = json_is_whole_object,
                                                  .possible_loss = "the pairing may be lost",
                                                  .after_failure =
                                                      failed_save::removes_temporary_file};

template<typename systems>
auto* first_with_serial(systems& list, const std::string& serial) {
    const auto found = std::ranges::find(list, serial, &system_record::serial);
    return found == list.end() ? nullptr : &*found;
}

std::optional<system_record> copy_of(const system_record* system) {
    if (system == nullptr) return std::nullopt;
    return *system;
}

void make_all_independent(std::vector<system_record>& systems) {
    for (system_record& system : systems) {
        system.role = system_role::independent;
        system.backupForSerial.clear();
    }
}

void take_offline(system_record& system) {
    system.online = false;
    system.uiReady = false;
}

// As much of the round as a round may hold.
std::vector<discovered_server> bounded_round(std::vector<discovered_server> servers,
                                             known_serials known) {
    discovery_round round(std::move(known));
    for (discovered_server& server : servers)
        round.add(std::move(server));
    return round.take();
}

} // namespace

std::string_view waiting_message(bool enabled) {
    return enabled ? "Waiting to synchronize pairing with Main."
                   : "Waiting to synchronize disabled redundancy state with Main.";
}

std::string active_word(const std::optional<system_record>& active) {
    if (!active) return "none";
    switch (active->role) {
    case system_role::main:
        return "main";
    case system_role::backup:
        return "backup";
    case system_role::independent:
        break;
    }
    return "independent";
}

controller_registry::controller_registry(std::string configuration_path)
    : configuration_path_(std::move(configuration_path)),
      file_(configuration_path_, configuration_rules) {}

bool controller_registry::enabled() const {
    const held_lock lock(state_lock_);
    return state_.enabled;
}

bool controller_registry::controller_configured() const {
    const held_lock lock(state_lock_);
    return state_.controllerConfigured;
}

std::uint16_t controller_registry::ui_port() const {
    const held_lock lock(state_lock_);
    return state_.uiPort;
}

bool controller_registry::open_browser_on_start() const {
    const held_lock lock(state_lock_);
    return state_.openBrowserOnStart;
}

bool controller_registry::policy_synchronized() const {
    const held_lock lock(state_lock_);
    return state_.policySynchronized;
}

std::vector<system_record> controller_registry::systems() const {
    const held_lock lock(state_lock_);
    return state_.systems;
}

std::set<std::int32_t> controller_registry::shared_function_ids() const {
    const held_lock lock(state_lock_);
    return state_.sharedFunctionIds;
}

std::optional<system_record> controller_registry::find_system(const std::string& serial) const {
    const held_lock lock(state_lock_);
    return copy_of(first_with_serial(state_.systems, serial));
}

bool controller_registry::has_pair() const {
    const held_lock lock(state_lock_);
    return backup_of_pair(state_.systems) != nullptr;
}

std::optional<server_pair> controller_registry::find_pair() const {
    const held_lock lock(state_lock_);
    const system_record* const backup = backup_of_pair(state_.systems);
    if (backup == nullptr) return std::nullopt;
    return server_pair{.main = *first_main(state_.systems), .backup = *backup};
}

std::optional<system_record> controller_registry::find_main() const {
    const held_lock lock(state_lock_);
    return copy_of(first_main(state_.systems));
}

std::optional<system_record> controller_registry::find_backup_for(const std::string& serial) const {
    const held_lock lock(state_lock_);
    return copy_of(first_backup_for(state_.systems, serial));
}

std::optional<system_record> controller_registry::active_system() const {
    const held_lock lock(state_lock_);
    return copy_of(find_active(state_));
}

std::string controller_registry::active_role() const {
    return active_word(active_system());
}

operator_control_config controller_registry::pairing_config() const {
    const held_lock lock(state_lock_);
    operator_control_config config;
    config.enabled = state_.enabled;
    config.shared_function_ids = state_.sharedFunctionIds;
    for (const system_record& system : state_.systems)
        if (system.role != system_role::independent)
            config.systems.push_back({.serial = system.serial,
                                      .workstation_name = system.workstation,
                                      .address = system.address,
                                      .role = system.role,
                                      .backup_for_serial = system.backupForSerial});
    return config;
}

std::string controller_registry::to_json() const {
    // Writing the text would take long enough to delay a failover; copying doesn't.
    const registry_state copy = [this] {
        const held_lock lock(state_lock_);
        return state_;
    }();
    return write_registry_json(copy);
}

known_serials controller_registry::serials() const {
    const held_lock lock(state_lock_);
    known_serials all;
    for (const system_record& system : state_.systems)
        if (!system.serial.empty()) all.insert(system.serial);
    return all;
}

void controller_registry::merge_discovered(std::vector<discovered_server> servers,
                                           steady_time now) {
    // A stranger must not decide how long the lock is held: a failover may be waiting for it.
    if (servers.size() > discovery_round::most_unknown)
        servers = bounded_round(std::move(servers), serials());
    bool dropped = false;
    {
        const held_lock lock(state_lock_);
        merge_servers(state_.systems, servers, now);
        for (system_record& system : state_.systems) {
            const bool ever_seen = system.lastSeen != steady_time{};
            if (ever_seen && now - system.lastSeen <= silence_limit)
                system.online = true;
            else
                take_offline(system);
        }
        dropped = keep_known_systems_bounded(state_.systems);
    }
    if (dropped) report_bound_reached();
}

void controller_registry::report_bound_reached() {
    if (bound_told_.exchange(true)) return;
    write_error_line("Redundancy Control registry: more systems than the " +
                     std::to_string(most_known_systems) +
                     " that are kept; those without a role and heard longest ago make room");
}

void controller_registry::set_online(const std::string& serial, bool value, steady_time now) {
    const held_lock lock(state_lock_);
    system_record* const system = first_with_serial(state_.systems, serial);
    if (system == nullptr) return;
    system->online = value;
    system->uiReady = value;
    if (value) system->lastSeen = now;
}

void controller_registry::set_ui_ready(const std::string& serial, bool value) {
    const held_lock lock(state_lock_);
    if (system_record* const system = first_with_serial(state_.systems, serial))
        system->uiReady = value && system->online;
}

void controller_registry::set_replication(const std::string& serial,
                                          const replication_status& status) {
    const held_lock lock(state_lock_);
    system_record* const system = first_with_serial(state_.systems, serial);
    if (system == nullptr) return;
    system->replicationEnabled = status.enabled;
    system->replicationRole = status.role;
    system->replicationRevision = status.revision;
    system->replicationAppliedRevision = status.applied_revision;
    system->replicationPendingMedia = status.pending_media;
    system->replicationEventTitle.clear();
    system->replicationLastError.clear();
    // If the records hold too much text already, these two are the least needed.
    std::size_t bytes = status.event_title.size() + status.last_error.size();
    for (const system_record& each : state_.systems)
        bytes += text_size(each);
    if (bytes > most_known_text) return;
    system->replicationEventTitle = status.event_title;
    system->replicationLastError = status.last_error;
}

void controller_registry::clear_replication(const std::string& serial) {
    replication_status none;
    none.role = "Independent";
    set_replication(serial, none);
}

void controller_registry::set_role(const std::string& serial, system_role role,
                                   const std::string& backup_for) {
    const held_lock lock(state_lock_);
    system_record* const system = first_with_serial(state_.systems, serial);
    if (system == nullptr) return;
    system->role = role;
    system->backupForSerial =
        role == system_role::backup ? cut_network_text(backup_for) : std::string();
    state_.controllerConfigured = true;
    state_.policySynchronized = false;
}

void controller_registry::configure(bool enabled, const std::string& main_serial,
                                    const std::string& backup_serial) {
    const held_lock lock(state_lock_);
    state_.enabled = enabled;
    state_.controllerConfigured = true;
    system_record* const main = first_with_serial(state_.systems, main_serial);
    system_record* const backup = first_with_serial(state_.systems, backup_serial);
    if (!main_serial.empty() && !backup_serial.empty() && main_serial != backup_serial &&
        main != nullptr && backup != nullptr) {
        make_all_independent(state_.systems);
        main->role = system_role::main;
        backup->role = system_role::backup;
        backup->backupForSerial = main_serial;
    }
    state_.policySynchronized = false;
    state_.policySyncMessage = waiting_message(enabled);
}

void controller_registry::import_config(const operator_control_config& config) {
    bool dropped = false;
    {
        const held_lock lock(state_lock_);
        if (!config.enabled || state_.controllerConfigured) return;
        make_all_independent(state_.systems);
        import_systems(state_.systems, config.systems);
        dropped = keep_known_systems_bounded(state_.systems);
        state_.sharedFunctionIds = config.shared_function_ids;
        state_.enabled = true;
        state_.controllerConfigured = backup_of_pair(state_.systems) != nullptr;
    }
    if (dropped) report_bound_reached();
}

void controller_registry::set_shared_function_ids(std::set<std::int32_t> ids) {
    const held_lock lock(state_lock_);
    state_.sharedFunctionIds = std::move(ids);
    state_.policySynchronized = false;
}

void controller_registry::set_ui_port(std::uint16_t port) {
    const held_lock lock(state_lock_);
    if (port >= lowest_ui_port) state_.uiPort = port;
}

void controller_registry::set_runtime_ui_port(std::uint16_t port) {
    const held_lock lock(state_lock_);
    state_.runtimeUiPort = port;
}

void controller_registry::set_open_browser_on_start(bool value) {
    const held_lock lock(state_lock_);
    state_.openBrowserOnStart = value;
}

void controller_registry::set_policy_sync(bool synchronized, const std::string& message) {
    const held_lock lock(state_lock_);
    state_.policySynchronized = synchronized;
    state_.policySyncMessage = message;
}

void controller_registry::set_active_override(bool value, std::string serial) noexcept {
    const held_lock lock(state_lock_);
    state_.activeOverride = value;
    state_.activeOverrideSerial = std::move(serial);
}

void controller_registry::load(const std::function<bool()>& given_up) noexcept {
    const held_lock file_lock(save_lock_);
    const auto take = [this](const std::string& text) {
        registry_state loaded;
        {
            const held_lock lock(state_lock_);
            loaded = state_;
        }
        // If memory runs out halfway, the registry must not hold half of the file.
        read_registry_json(text, loaded);
        const held_lock lock(state_lock_);
        state_ = std::move(loaded);
    };
    file_.load(take, call_limits{.given_up = given_up}.within(settings_file::longest_load));
}

void controller_registry::save() const noexcept {
    const held_lock lock(save_lock_);
    file_.save([this] { return to_json(); });
}

} // namespace elvantris::operator_control
