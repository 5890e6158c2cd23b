#include "tool/program_status.hpp"

#include "json/field_scanner.hpp"
#include "tool/json_fields.hpp"

#include <utility>

namespace elvantris::operator_control {
namespace {

system_record read_system(const json_tree& tree) {
    return {.serial = text_field(tree, "serial"),
            .workstation = text_field(tree, "workstation"),
            .address = text_field(tree, "address"),
            .webPort = small_number_field<std::uint16_t>(tree, "webPort"),
            .role = role_from_word(text_field(tree, "role")),
            .backupForSerial = text_field(tree, "backupForSerial"),
            .online = flag_field(tree, "online"),
            .uiReady = flag_field(tree, "uiReady"),
            .lastSeen = {},
            .replicationEnabled = flag_field(tree, "replicationEnabled"),
            .replicationRole = text_field(tree, "replicationRole"),
            .replicationRevision = number_field(tree, "replicationRevision"),
            .replicationAppliedRevision = number_field(tree, "replicationAppliedRevision"),
            .replicationPendingMedia =
                small_number_field<std::int32_t>(tree, "replicationPendingMedia"),
            .replicationEventTitle = text_field(tree, "replicationEventTitle"),
            .replicationLastError = text_field(tree, "replicationLastError")};
}

registry_state read_registry(const json_tree& tree) {
    registry_state state;
    state.enabled = flag_field(tree, "enabled");
    state.controllerConfigured = flag_field(tree, "controllerConfigured");
    state.policySynchronized = flag_field(tree, "policySynchronized");
    state.policySyncMessage = text_field(tree, "policySyncMessage");
    state.uiPort = small_number_field<std::uint16_t>(tree, "uiPort");
    state.runtimeUiPort = small_number_field<std::uint16_t>(tree, "runtimeUiPort");
    for (const json_tree& system : array_field(tree, "systems"))
        if (system.is_object()) state.systems.push_back(read_system(system));
    return state;
}

shown_server read_server(const json_tree& tree) {
    return {.serial = text_field(tree, "serial"),
            .age_ms = number_field(tree, "ageMs", -1),
            .supported = flag_field(tree, "supported"),
            .engine_running = flag_field(tree, "engineRunning"),
            .engine_responsive = flag_field(tree, "engineResponsive"),
            .telemetry_available = flag_field(tree, "telemetryAvailable"),
            .frame_stalled = flag_field(tree, "frameStalled"),
            .outputs = array_field(tree, "outputs").dump()};
}

alert_severity severity_of(const std::string& word) {
    if (word == "notice") return alert_severity::notice;
    return word == "critical" ? alert_severity::critical : alert_severity::warning;
}

alert_record read_alert(const json_tree& tree) {
    return {.id = static_cast<std::uint64_t>(number_field(tree, "id")),
            .key = {},
            .message = text_field(tree, "message"),
            .severity = severity_of(text_field(tree, "severity")),
            .started = number_field(tree, "started"),
            .recovered = number_field(tree, "recovered"),
            .active = flag_field(tree, "active"),
            .acknowledged = flag_field(tree, "acknowledged")};
}

protection_snapshot read_protection(const json_tree& tree) {
    protection_snapshot snapshot{.policy = parse_policy(object_field(tree, "policy").dump()),
                                 .held_on_backup = flag_field(tree, "heldOnBackup"),
                                 .actions_busy = flag_field(tree, "actionsBusy"),
                                 .last_action = text_field(tree, "lastAction"),
                                 .servers = {},
                                 .alerts = {}};
    for (const json_tree& server : array_field(tree, "systems"))
        if (server.is_object()) snapshot.servers.push_back(read_server(server));
    for (const json_tree& alert : array_field(tree, "alerts"))
        if (alert.is_object()) snapshot.alerts.push_back(read_alert(alert));
    return snapshot;
}

} // namespace

std::optional<program_status> read_status(std::string_view text) {
    const json_tree tree = read_json_tree(text);
    if (!tree.is_object() || object_field(object_field(tree, "protection"), "policy").empty())
        return std::nullopt;
    program_status status{.registry = read_registry(tree),
                          .protection = read_protection(object_field(tree, "protection")),
                          .active = text_field(tree, "active"),
                          .decks = {},
                          .config_path = text_field(tree, "configPath")};
    for (const json_tree& deck : array_field(tree, "streamDecks"))
        if (deck.is_object())
            status.decks.push_back(
                {.serial = text_field(deck, "serial"), .name = text_field(deck, "name")});
    return status;
}

program_reply judge_answer(std::string_view body) {
    if (std::optional<program_status> status = read_status(body))
        return {.presence = program_presence::running, .status = std::move(status)};
    const bool own = json_find_value(body, "configPath") != npos &&
                     json_find_value(body, "heldOnBackup") != npos;
    return {.presence =
                own ? program_presence::unreadable_status : program_presence::another_program,
            .status = {}};
}

std::string_view presence_sentence(program_presence presence) {
    switch (presence) {
    case program_presence::running:
        return "The program is running.";
    case program_presence::not_running:
        return "The program is not running.";
    case program_presence::not_answering:
        return "Something holds port 5251 and gives no answer.";
    case program_presence::unreadable_status:
        return "The program is running, and its status can't be read.";
    case program_presence::another_program:
        return "Another program answers on port 5251.";
    }
    return "";
}

std::string other_configuration_sentence(const program_status& status) {
    return "The running program uses another configuration file: " + status.config_path + '.';
}

std::string_view presence_advice(program_presence presence) {
    switch (presence) {
    case program_presence::running:
        return "";
    case program_presence::not_running:
        return "Start it. Without it nobody watches the pair.";
    case program_presence::not_answering:
        return "The program may be saving a configuration: wait half a minute. If that does not "
               "help, end it and start it again.";
    case program_presence::unreadable_status:
        return "Look at the pair on its page. This tool may be older or newer than the program.";
    case program_presence::another_program:
        return "End that program, then start Redundancy Control.";
    }
    return "";
}

} // namespace elvantris::operator_control
