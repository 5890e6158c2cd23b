// What the registry keeps, and its JSON text, which is stored and with which the status begins.
#pragma once

#include "systems/system_record.hpp"

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace elvantris::operator_control {

inline constexpr std::uint16_t default_ui_port = 5270;
inline constexpr std::int32_t lowest_ui_port = 1024;
inline constexpr std::int32_t highest_ui_port = 65535;

// Functions 1 to 17 and 24 to 29.
std::set<std::int32_t> default_shared_function_ids();

// Everything that the registry keeps.
struct registry_state {
    bool enabled = false;        // redundancy is switched on
    bool activeOverride = false; // protection has pinned the active server
    std::string activeOverrideSerial;
    bool controllerConfigured = false; // an operator or a server has decided the pairing
    std::uint16_t uiPort = default_ui_port;
    std::uint16_t runtimeUiPort = default_ui_port; // where the page is really served
    bool openBrowserOnStart = true;
    std::vector<system_record> systems; // in order of first appearance
    std::set<std::int32_t> sharedFunctionIds = default_shared_function_ids();
    bool policySynchronized = false; // Main holds the pairing that is wanted here
    std::string policySyncMessage;
};

// One line without a line end; keys in their fixed order, no white space. Pure.
std::string write_registry_json(const registry_state& state);

// Puts what the file holds over `state`. Live fields of the systems, the override and the
// synchronisation are never read; a damaged field takes its default. Pure.
void read_registry_json(std::string_view text, registry_state& state);

} // namespace elvantris::operator_control
