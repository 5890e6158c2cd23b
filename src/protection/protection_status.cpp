#include "protection/protection_status.hpp"

#include "json/object_writer.hpp"
#include "json/well_formed.hpp"

#include <string_view>

namespace elvantris::operator_control {
namespace {

std::string write_server(const shown_server& server) {
    return json_object_writer()
        .text("serial", server.serial)
        .number("ageMs", server.age_ms)
        .flag("supported", server.supported)
        .flag("engineRunning", server.engine_running)
        .flag("engineResponsive", server.engine_responsive)
        .flag("telemetryAvailable", server.telemetry_available)
        .flag("frameStalled", server.frame_stalled)
        // Empty before the first answer, and not always JSON: of a server's text only the brackets
        // are known to match. The status must be JSON in any case.
        .json("outputs", json_is_value(server.outputs) ? server.outputs : "[]")
        .written();
}

std::string_view severity_word(alert_severity severity) {
    switch (severity) {
    case alert_severity::notice:
        return "notice";
    case alert_severity::warning:
        return "warning";
    case alert_severity::critical:
        break;
    }
    return "critical";
}

std::string write_alert(const alert_record& record) {
    return json_object_writer()
        .number("id", record.id)
        .text("message", record.message)
        .text("severity", severity_word(record.severity))
        .number("started", record.started)
        .number("recovered", record.recovered)
        .flag("active", record.active)
        .flag("acknowledged", record.acknowledged)
        .written();
}

} // namespace

std::string write_status(const protection_snapshot& snapshot) {
    return json_object_writer()
        .json("policy", write_policy(snapshot.policy))
        .flag("armed", snapshot.policy.armed)
        .flag("heldOnBackup", snapshot.held_on_backup)
        .flag("actionsBusy", snapshot.actions_busy)
        .text("lastAction", snapshot.last_action)
        .json("systems", json_array(snapshot.servers, write_server))
        .json("alerts", json_array(snapshot.alerts, write_alert))
        .written();
}

} // namespace elvantris::operator_control
