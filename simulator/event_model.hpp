// The event model as text, and the pairing that stands in it.
//
// All pure; a text that is no JSON has no pairing.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace elvantris::simulator {

struct paired_system {
    std::string serial;
    std::string workstation_name;
    std::string address;
    std::string role; // "Main", "Backup" or anything that was written
    std::string backup_for_serial;
};

struct pairing {
    bool enabled = false;
    std::vector<paired_system> systems;
    std::vector<std::int64_t> shared_function_ids;

    const paired_system* find(const std::string& serial) const;
    bool names(const std::string& serial, const std::string& role) const;
    // Empty if there is no Main.
    std::string main_serial() const;
    // "Independent" for a server that the pairing does not name, or if it is not enabled.
    std::string role_of(const std::string& serial) const;
};

// What a server holds before anybody has written to it.
std::string first_event_model();

bool is_event_model(const std::string& text);
std::string event_title(const std::string& text);
std::optional<pairing> read_pairing(const std::string& text);

// The text again, whole, with the revision in its pairing brought up to date.
std::string with_revision(const std::string& text, std::int64_t revision);
std::string without_pairing(const std::string& text);

nlohmann::ordered_json pairing_json(const pairing& value);

} // namespace elvantris::simulator
