// The read-only questions to the servers outside of protection: what pairing they hold, who they
// are, and how their replication stands.
//
// Threads: the fetches are re-entrant. The two rounds belong to the main loop's thread; they work
//   on a snapshot and hold no lock while they ask, one server after the other.
// Failure: an unreachable server, or any status but 200, is an absent result or false; nothing is
//   logged, and the next round asks again.
#pragma once

#include "os/sockets.hpp"
#include "systems/controller_registry.hpp"
#include "systems/system_record.hpp"

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace elvantris::operator_control {

std::optional<operator_control_config> fetch_operator_control_config(const std::string& host,
                                                                     std::uint16_t web_port,
                                                                     milliseconds timeout);

std::optional<replication_status>
fetch_replication_status(const std::string& host, std::uint16_t web_port, milliseconds timeout);

// Whether the server there reports exactly this serial: another machine may have taken the address.
bool confirm_server_identity(const std::string& host, std::uint16_t web_port,
                             const std::string& expected_serial, milliseconds timeout);

// How often each server has failed its identity probe in a row. Pure.
class ui_ready_counts {
public:
    // What `uiReady` becomes: true at the first success, and a ready server survives two failures,
    // for which the result is absent and the record is left alone.
    std::optional<bool> after_probe(const system_record& system, bool confirmed);
    void reset(const std::string& serial) { failures_[serial] = 0; }

private:
    std::map<std::string, int> failures_;
};

// One round of identity probes over all systems.
void refresh_ui_ready(controller_registry& registry);

// One round of replication reads over the online Mains and Backups.
void poll_replication(controller_registry& registry);

} // namespace elvantris::operator_control
