#pragma once

#include "tool/check_view.hpp"

#include <string>

namespace elvantris::operator_control {

inline shown_server healthy_server(const std::string& serial) {
    return {.serial = serial,
            .age_ms = 120,
            .supported = true,
            .engine_running = true,
            .engine_responsive = true,
            .telemetry_available = true,
            .frame_stalled = false,
            .outputs = R"([{"id":"out-1","available":true,"known":true},{"id":"out-2",)"
                       R"("available":false,"known":true}])"};
}

inline alert_record active_alert(const std::string& message,
                                 alert_severity severity = alert_severity::critical) {
    return {.id = 1,
            .key = {},
            .message = message,
            .severity = severity,
            .started = 1'790'000'000'000,
            .recovered = 0,
            .active = true,
            .acknowledged = false};
}

// The ordinary case: the program runs with a healthy, synchronized pair and one deck. There is
// nothing to find.
inline check_view healthy_view() {
    registry_state registry;
    registry.enabled = registry.controllerConfigured = registry.policySynchronized = true;
    system_record main;
    main.serial = "SER-A";
    main.address = "10.77.0.11";
    main.role = system_role::main;
    main.replicationRevision = main.replicationAppliedRevision = 12;
    system_record backup = main;
    backup.serial = "SER-B";
    backup.address = "10.77.0.12";
    backup.role = system_role::backup;
    backup.backupForSerial = "SER-A";
    registry.systems = {main, backup};

    const seen_deck deck{.serial = "XL-1", .name = "Stream Deck XL"};
    program_status status{.registry = registry,
                          .protection = {},
                          .active = "main",
                          .decks = {deck},
                          .config_path = "operator-control.json"};
    status.protection.servers = {healthy_server("SER-A"), healthy_server("SER-B")};

    check_view view;
    view.config_path = "operator-control.json";
    view.program = {.presence = program_presence::running, .status = status};
    view.files.configuration = view.files.state = file_condition::whole;
    view.files.registry = registry;
    view.free_bytes = 10'000'000'000;
    view.remembered_decks = {deck};
    return view;
}

// The same pair, and nobody watches it.
inline check_view stopped_view() {
    check_view view = healthy_view();
    view.program = {.presence = program_presence::not_running, .status = {}};
    return view;
}

} // namespace elvantris::operator_control
