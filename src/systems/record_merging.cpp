#include "systems/record_merging.hpp"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>

namespace elvantris::operator_control {
namespace {

// Finds the record that an answer belongs to without a search through all of them.
class record_index {
public:
    // Makes room for so many more ahead: the keys point into the records. Addresses are looked at
    // only for answers without serial, and few are.
    record_index(std::vector<system_record>& systems, std::size_t more, bool by_address)
        : indexes_addresses_(by_address) {
        systems.reserve(systems.size() + more);
        by_serial_.reserve(systems.size() + more);
        for (const system_record& system : systems)
            add(system);
    }

    // The first record in list order; absent without one.
    std::optional<std::size_t> find(const discovered_server& server) const {
        if (!server.serial.empty()) return find_serial(server.serial);
        const auto found = by_address_.find(server.address);
        if (found == by_address_.end() || found->second.empty()) return std::nullopt;
        return *found->second.begin();
    }
    std::optional<std::size_t> find_serial(const std::string& serial) const {
        const auto found = by_serial_.find(serial);
        if (found == by_serial_.end()) return std::nullopt;
        return found->second;
    }

    void add(const system_record& appended) {
        by_serial_.try_emplace(appended.serial, size_);
        if (indexes_addresses_) by_address_[appended.address].insert(size_);
        ++size_;
    }
    void move(std::size_t record, const std::string& from, const std::string& to) {
        if (!indexes_addresses_) return;
        by_address_[from].erase(record);
        by_address_[to].insert(record);
    }

private:
    bool indexes_addresses_;
    std::unordered_map<std::string_view, std::size_t> by_serial_;
    // With keys of its own: an answer can change a record's address.
    std::unordered_map<std::string, std::set<std::size_t>> by_address_;
    std::size_t size_ = 0;
};

system_record fresh_record(const discovered_server& server) {
    system_record fresh;
    fresh.serial = server.serial;
    fresh.workstation = server.workstation;
    fresh.address = server.address;
    fresh.webPort = server.webPort;
    return fresh;
}

void merge_one(std::vector<system_record>& systems, record_index& index,
               const discovered_server& server, steady_time now) {
    const auto known = index.find(server);
    system_record& system = known ? systems[*known] : systems.emplace_back(fresh_record(server));
    if (!known) {
        index.add(system);
    } else if (system.address != server.address) {
        // A server with several interfaces answers from any of them; a working address is kept.
        if (!system.uiReady) {
            index.move(*known, system.address, server.address);
            system.address = server.address;
            system.webPort = server.webPort;
        }
    } else if (system.webPort != server.webPort) {
        system.webPort = server.webPort;
        system.uiReady = false;
    }
    system.controlPort = control_port;
    if (!server.workstation.empty()) system.workstation = server.workstation;
    system.online = true;
    system.lastSeen = now;
}

void import_system(std::vector<system_record>& systems, record_index& index,
                   const operator_control_system& source) {
    const auto known = index.find_serial(source.serial);
    system_record& system = known ? systems[*known] : systems.emplace_back();
    if (!known) {
        system.serial = source.serial;
        index.add(system);
    }
    system.role = source.role;
    system.backupForSerial = source.backup_for_serial;
    if (!source.workstation_name.empty()) system.workstation = source.workstation_name;
    // Where the server answers from now outranks what another server remembers.
    if (!source.address.empty() && !system.online) system.address = source.address;
}

} // namespace

void merge_servers(std::vector<system_record>& systems,
                   const std::vector<discovered_server>& servers, steady_time now) {
    const bool some_nameless = std::ranges::any_of(
        servers, [](const discovered_server& server) { return server.serial.empty(); });
    record_index index(systems, servers.size(), some_nameless);
    for (const discovered_server& server : servers)
        merge_one(systems, index, server, now);
}

void import_systems(std::vector<system_record>& systems,
                    const std::vector<operator_control_system>& sources) {
    record_index index(systems, sources.size(), false);
    for (const operator_control_system& source : sources)
        import_system(systems, index, source);
}

} // namespace elvantris::operator_control
