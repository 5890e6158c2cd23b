// The read-only questions to the servers outside of protection: what pairing they hold, who they
// are, and how their replication stands.
//
// Threads: the fetches are re-entrant. The two rounds belong to the main loop's thread; they work
//   on a snapshot and hold no lock while they ask, one server after the other.
// Units: `timeout` bounds each step of an exchange, 5 seconds the whole of it, and the limits what
//   is asked together. Servers that a round has no time left for are the first of the next one.
// Failure: an unreachable server, or any status but 200, is an absent result or false; nothing is
//   logged, and the next round asks again.
#pragma once

#include "os/call_limits.hpp"
#include "systems/asking_order.hpp"
#include "systems/controller_registry.hpp"
#include "systems/system_record.hpp"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace elvantris::operator_control {

std::optional<operator_control_config>
fetch_operator_control_config(const std::string& host, std::uint16_t web_port, milliseconds timeout,
                              const call_limits& limits = {});

std::optional<replication_status> fetch_replication_status(const std::string& host,
                                                           std::uint16_t web_port,
                                                           milliseconds timeout,
                                                           const call_limits& limits = {});

// Whether the server there reports exactly this serial: another machine may have taken the address.
bool confirm_server_identity(const std::string& host, std::uint16_t web_port,
                             const std::string& expected_serial, milliseconds timeout,
                             const call_limits& limits = {});

// How often each server has failed its identity probe in a row. Pure.
class ui_ready_counts {
public:
    // What `uiReady` becomes: true at the first success, and a ready server survives two failures,
    // for which the result is absent and the record is left alone.
    std::optional<bool> after_probe(const system_record& system, bool confirmed);
    void reset(const std::string& serial) { failures_[serial] = 0; }
    // Forgets all others.
    void keep_only(const std::vector<system_record>& systems);
    std::size_t size() const { return failures_.size(); }

private:
    std::map<std::string, int> failures_;
};

// What the rounds keep from one to the next.
struct polling_memory {
    ui_ready_counts ready_counts;
    asking_order identity;
    asking_order replication;
};

// One round of identity probes over all systems. A probe that the limits cut short counts for
// nothing.
void refresh_ui_ready(controller_registry& registry, polling_memory& memory,
                      const call_limits& limits = {});

// One round of replication reads over the online Mains and Backups.
void poll_replication(controller_registry& registry, polling_memory& memory,
                      const call_limits& limits = {});

} // namespace elvantris::operator_control
