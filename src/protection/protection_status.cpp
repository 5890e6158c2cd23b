#include "protection/pair_protection.hpp"

#include "json/object_writer.hpp"
#include "json/well_formed.hpp"

namespace elvantris::operator_control {
namespace {

std::string write_system(const std::string& serial, const server_health& health, steady_time now) {
    return json_object()
        .text("serial", serial)
        .number("ageMs", health.reachable ? milliseconds_between(health.lastSeen, now) : -1)
        .flag("supported", health.supported)
        .flag("engineRunning", health.engineRunning)
        .flag("engineResponsive", health.engineResponsive)
        .flag("telemetryAvailable", health.telemetryAvailable)
        .flag("frameStalled", health.frameStalled)
        // A server that was never heard has no text yet, and one that talks nonsense has only
        // balanced brackets: the status stays JSON all the same.
        .json("outputs", json_is_value(health.outputs) ? health.outputs : "[]")
        .written();
}

} // namespace

std::string pair_protection::status_json(steady_time now) const {
    const auto write = [now](const auto& system) {
        return write_system(system.first, system.second, now);
    };
    return json_object()
        .json("policy", write_policy(memory_.policy))
        .flag("armed", memory_.policy.armed)
        .flag("heldOnBackup", memory_.heldOnBackup)
        .flag("actionsBusy", actions_busy())
        .text("lastAction", last_action_)
        .json("systems", json_array(health_, write))
        .json("alerts", alerts_.to_json())
        .written();
}

} // namespace elvantris::operator_control
