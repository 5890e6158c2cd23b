// The one shared state of the workstation: the known servers, their roles, which of them is
// active, and the settings. All subsystems meet here and nowhere else.
//
// Threads: any. Each operation takes the state lock for its whole length and returns copies; a
//   caller that needs a consistent view takes one `systems()` snapshot. No operation calls back.
// Ownership: nobody outside holds a reference into the state.
// Failure: an unknown serial makes a writer do nothing and a reader return an absent value.
//   Serials are compared byte for byte, and the first match in list order wins.
#pragma once

#include "os/lock.hpp"
#include "os/settings_file.hpp"
#include "systems/discovery.hpp"
#include "systems/pairing_turns.hpp"
#include "systems/registry_state.hpp"
#include "systems/system_record.hpp"

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace elvantris::operator_control {

// What the operator reads while a pairing, switched on or off, has yet to reach Main.
std::string_view waiting_message(bool enabled);

// "main", "backup", "independent", or "none" without an active server.
std::string active_word(const std::optional<system_record>& active);

// Main and its Backup as they were at one moment.
struct server_pair {
    system_record main;
    system_record backup;
};

class controller_registry {
public:
    explicit controller_registry(std::string configuration_path);

    const std::string& configuration_path() const { return configuration_path_; }

    bool enabled() const;
    bool controller_configured() const;
    std::uint16_t ui_port() const;
    bool open_browser_on_start() const;
    bool policy_synchronized() const;
    std::vector<system_record> systems() const;
    std::set<std::int32_t> shared_function_ids() const;
    std::optional<system_record> find_system(const std::string& serial) const;

    // A pair exists when the first Main has a Backup.
    bool has_pair() const;
    std::optional<server_pair> find_pair() const;
    std::optional<system_record> find_main() const;
    std::optional<system_record> find_backup_for(const std::string& serial) const;

    // The server to which the operator's view goes. Only a server that is online and ready
    // qualifies; while protection pins one, no other takes its place.
    std::optional<system_record> active_system() const;
    // The word for the active server's role.
    std::string active_role() const;

    // The turns of those who write this pairing to Main.
    pairing_turns& turns() { return turns_; }
    // The pairing that this workstation wants Main to hold.
    operator_control_config pairing_config() const;

    std::string to_json() const;

    // What a discovery round should know beforehand.
    known_serials serials() const;

    // Applies one discovery round: adds new servers, renews known ones, and takes offline those
    // that have been silent for more than 6 seconds. A ready server keeps its address. Where the
    // bounds of known_systems.hpp are exceeded, records are dropped; the first time is logged.
    void merge_discovered(std::vector<discovered_server> servers, steady_time now);

    // `online` and `uiReady` both take `value`; true is also a proof of life.
    void set_online(const std::string& serial, bool value, steady_time now);
    void set_ui_ready(const std::string& serial, bool value);
    void set_replication(const std::string& serial, const replication_status& status);
    void clear_replication(const std::string& serial);

    void set_role(const std::string& serial, system_role role, const std::string& backup_for);
    // The operator's decision. Roles change only for two different known serials.
    void configure(bool enabled, const std::string& main_serial, const std::string& backup_serial);
    // Takes over a pairing that the servers hold, unless this workstation has one of its own.
    void import_config(const operator_control_config& config);

    void set_shared_function_ids(std::set<std::int32_t> ids);
    // A port below 1024 changes nothing.
    void set_ui_port(std::uint16_t port);
    void set_runtime_ui_port(std::uint16_t port);
    void set_open_browser_on_start(bool value);
    void set_policy_sync(bool synchronized, const std::string& message);
    void set_active_override(bool value, std::string serial) noexcept;

    // Reads the configuration file; one that can't be read changes nothing, and is kept aside as
    // `settings_file` says. `given_up` ends the tries of a caller that is to end. Before the
    // threads that change the registry.
    void load(const std::function<bool()>& given_up = {}) noexcept;
    // Replaces the configuration file in one step. In every failure the old file stays whole, and
    // nothing is reported.
    void save() const noexcept;

private:
    void report_bound_reached();

    std::string configuration_path_;  // never changes, and so needs no lock
    mutable checked_mutex save_lock_; // taken before the state lock
    mutable settings_file file_ GUARDED_BY(save_lock_);
    mutable checked_mutex state_lock_;
    registry_state state_ GUARDED_BY(state_lock_);
    std::atomic<bool> bound_told_{false};
    pairing_turns turns_; // has its own lock, taken before all others and never under them
};

} // namespace elvantris::operator_control
