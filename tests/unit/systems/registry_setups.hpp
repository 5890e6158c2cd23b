// The ordinary registries that the tests change one thing of. None of them touches its file.
#pragma once

#include "systems/controller_registry.hpp"

#include <chrono>
#include <memory>
#include <string>

namespace elvantris::operator_control {

inline constexpr steady_time first_round{std::chrono::hours{1}};

inline discovered_server answer_of(const std::string& serial,
                                   const std::string& address = "10.0.0.1") {
    return {.address = address, .webPort = 5000, .workstation = "WS-" + serial, .serial = serial};
}

// A system as a pairing names it, without name and address.
inline operator_control_system member_of_pairing(const std::string& serial, system_role role,
                                                 const std::string& backup_for = {}) {
    operator_control_system system;
    system.serial = serial;
    system.role = role;
    system.backup_for_serial = backup_for;
    return system;
}

inline replication_status replication_at(std::int64_t revision, std::int64_t applied_revision = 0,
                                         std::int32_t pending_media = 0) {
    replication_status status;
    status.role = "Backup";
    status.revision = revision;
    status.applied_revision = applied_revision;
    status.pending_media = pending_media;
    return status;
}

inline std::unique_ptr<controller_registry> empty_registry() {
    return std::make_unique<controller_registry>("never-written.json");
}

// M is Main, B its Backup and I stands alone; all have just answered, none is ready yet.
inline std::unique_ptr<controller_registry> paired_registry() {
    auto registry = empty_registry();
    registry->merge_discovered(
        {answer_of("I", "10.0.0.3"), answer_of("M", "10.0.0.1"), answer_of("B", "10.0.0.2")},
        first_round);
    registry->configure(true, "M", "B");
    return registry;
}

// The same with all three ready.
inline std::unique_ptr<controller_registry> ready_pair() {
    auto registry = paired_registry();
    for (const char* const serial : {"M", "B", "I"})
        registry->set_ui_ready(serial, true);
    return registry;
}

// The serial of the server to which the operator's view goes.
inline std::string active_serial(const controller_registry& registry) {
    const auto active = registry.active_system();
    return active ? active->serial : "absent";
}

} // namespace elvantris::operator_control
