#include "protection/pair_protection.hpp"

#include "json/escape.hpp"

namespace elvantris::operator_control {
namespace {

std::string write_system(const std::string& serial, const server_health& health, steady_time now) {
    const std::int64_t age_ms = health.reachable ? milliseconds_between(health.lastSeen, now) : -1;
    std::string out =
        "{\"serial\":\"" + json_escape(serial) + "\",\"ageMs\":" + std::to_string(age_ms);
    const auto flag = [&](std::string_view name, bool value) {
        out.append(",\"").append(name).append("\":").append(json_bool(value));
    };
    flag("supported", health.supported);
    flag("engineRunning", health.engineRunning);
    flag("engineResponsive", health.engineResponsive);
    flag("telemetryAvailable", health.telemetryAvailable);
    flag("frameStalled", health.frameStalled);
    out += ",\"outputs\":";
    // A server that was never heard has no text yet, and the status stays JSON all the same.
    out += health.outputs.empty() ? "[]" : health.outputs;
    return out + '}';
}

} // namespace

std::string pair_protection::status_json(steady_time now) const {
    std::string out = "{\"policy\":" + write_policy(memory_.policy) + ",\"armed\":";
    out.append(json_bool(memory_.policy.armed)).append(",\"heldOnBackup\":");
    out.append(json_bool(memory_.heldOnBackup)).append(",\"actionsBusy\":");
    out.append(json_bool(actions_busy()));
    out += ",\"lastAction\":\"" + json_escape(last_action_) + "\",\"systems\":[";
    bool first = true;
    for (const auto& [serial, health] : health_) {
        if (!first) out += ',';
        first = false;
        out += write_system(serial, health, now);
    }
    return out + "],\"alerts\":" + alerts_.to_json() + '}';
}

} // namespace elvantris::operator_control
