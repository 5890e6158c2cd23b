// All that is looked at of a workstation, read before it is judged.
#pragma once

#include "decks/deck_bus.hpp"
#include "os/access_rights.hpp"
#include "os/network_interfaces.hpp"
#include "os/processes.hpp"
#include "os/reserved_ports.hpp"
#include "tool/log_facts.hpp"
#include "tool/program_status.hpp"
#include "tool/saved_files.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace elvantris::operator_control {

// The name of the program's own process.
inline constexpr std::string_view own_program = "elvantris-redundancy-control";

struct port_use {
    std::uint16_t port = 0;
    std::optional<std::vector<running_program>> programs = {}; // absent: the system refuses to tell
};

struct answering_server {
    discovered_server server;
    std::uint32_t address = 0; // the same, host byte order
    // This computer's own address on its way there; absent if there is none.
    std::optional<std::uint32_t> reached_from = {};
};

struct network_view {
    std::optional<std::vector<interface_address>> interfaces; // absent: the system refuses to tell
    std::optional<std::vector<answering_server>> servers;     // absent: nobody could be asked
};

struct deck_use {
    deck_on_bus deck;
    device_access access = device_access::usable;
    std::optional<std::vector<running_program>> holders = {}; // absent where the system won't tell
};

struct doctor_view {
    std::string config_path;
    program_reply program;
    bool program_uses_it = true; // the running program, this configuration file
    saved_files files;
    registry_state registry; // of the running program, else as saved

    port_use api_port;
    port_use page_port;                              // its number is 0 where nobody tells it
    std::optional<std::vector<port_range>> reserved; // absent: the system doesn't tell
    network_view network;
    std::optional<std::vector<deck_use>> decks; // absent: the bus can't be listed

    std::int64_t now = 0;
    folder_access folder = folder_access::writable;
    std::string folder_path;
    log_facts log;
    log_facts alert_log;

    std::string tool_version;
    running_program tool;
    std::optional<std::string> started_version; // of the last start of the program
};

inline bool is_running(const doctor_view& view) {
    return view.program.presence == program_presence::running;
}

} // namespace elvantris::operator_control
