// The records in which the servers are known. All are plain values; copies are snapshots.
#pragma once

#include "os/clock.hpp"

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace elvantris::operator_control {

// Every server takes commands on this UDP port; it is neither configured nor discovered.
inline constexpr std::uint16_t control_port = 1256;

enum class system_role : std::int32_t { independent = 0, main = 1, backup = 2 };

// "Main", "Backup" or "Independent".
std::string_view role_word(system_role role);
// The reverse, case-sensitive; any other word is Independent.
system_role role_from_word(std::string_view word);

// One known server. The key is `serial`; a server found by address alone has none.
struct system_record {
    std::string serial;
    std::string workstation; // display name of the server's machine
    std::string address;     // dotted IPv4
    std::uint16_t webPort = 5000;
    std::uint16_t controlPort = control_port;
    system_role role = system_role::independent;
    std::string backupForSerial; // a Backup's Main; empty for every other role
    bool online = false;         // answered discovery or a health poll recently
    bool uiReady = false;        // its web application is confirmed; never true while not online
    steady_time lastSeen;        // the last proof of life

    // As the server reports its replication; not interpreted here.
    bool replicationEnabled = false;
    std::string replicationRole = "Independent";
    std::int64_t replicationRevision = 0;
    std::int64_t replicationAppliedRevision = 0;
    std::int32_t replicationPendingMedia = 0;
    std::string replicationEventTitle;
    std::string replicationLastError;
};

// One answer of a discovery round.
struct discovered_server {
    std::string address; // the sender of the datagram
    std::uint16_t webPort = 0;
    std::string workstation;
    std::string serial;
};

// One server's place in a pairing.
struct operator_control_system {
    std::string serial;
    std::string workstation_name;
    std::string address;
    system_role role = system_role::independent;
    std::string backup_for_serial;
};

// A pairing, as a server stores it or as this workstation wants it.
struct operator_control_config {
    bool enabled = false;
    std::vector<operator_control_system> systems;
    std::set<std::int32_t> shared_function_ids;
    std::int64_t replication_revision = 0;
};

// A server's own account of its replication.
struct replication_status {
    bool enabled = false;
    std::string role;
    std::string local_serial;
    std::string main_serial;
    std::int64_t revision = 0;
    std::int64_t applied_revision = 0;
    std::int32_t pending_media = 0;
    std::string event_title;
    std::string last_error;
};

} // namespace elvantris::operator_control
