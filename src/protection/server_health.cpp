#include "protection/server_health.hpp"

#include "json/field_scanner.hpp"

#include <algorithm>

namespace elvantris::operator_control {
namespace {

constexpr std::int32_t health_version = 1;

bool reads_clock_fault(std::string_view body) {
    return json_read_bool(body, "clockEngaged", false) &&
           !json_read_bool(body, "clockHealthy", false);
}

bool reads_resource_pressure(std::string_view body) {
    return json_read_bool(body, "resourcesKnown", false) &&
           (json_read_int(body, "memoryAvailablePercent", 100) < 5 ||
            json_read_int(body, "cpuPercent", 0) >= 95 ||
            json_read_int(body, "gpuTemperature", 0) >= 90);
}

bool reads_frame_stall(std::string_view body, bool telemetry_available, std::uint32_t stall_ms) {
    const std::vector<std::string> channels = json_read_object_list(body, "channels");
    if (channels.empty()) return telemetry_available;
    return std::ranges::any_of(channels, [&](const std::string& channel) {
        return json_read_int64(channel, "ageMs", 0) >= static_cast<std::int64_t>(stall_ms);
    });
}

} // namespace

std::optional<server_health> read_health_reply(std::string_view body, const std::string& serial,
                                               std::uint32_t stall_ms, steady_time seen) {
    if (json_read_string(body, "serial") != serial ||
        json_read_int(body, "version", 0) != health_version)
        return std::nullopt;
    server_health health;
    health.reachable = true;
    health.supported = true;
    health.engineRunning = json_read_bool(body, "engineRunning", false);
    health.engineResponsive = json_read_bool(body, "engineResponsive", false);
    health.telemetryAvailable = json_read_bool(body, "telemetryAvailable", false);
    health.engineStarting = json_read_bool(body, "engineStarting", false);
    health.lastSeen = seen;
    health.outputs = json_read_array_text(body, "outputs");
    if (health.outputs.empty()) health.outputs = "[]";
    health.available_outputs = read_output_states(health.outputs);
    health.clockFault = reads_clock_fault(body);
    health.resourcePressure = reads_resource_pressure(body);
    health.frameStalled = reads_frame_stall(body, health.telemetryAvailable, stall_ms);
    return health;
}

std::optional<server_health> read_identity_reply(std::string_view body, const std::string& serial,
                                                 steady_time seen) {
    // Servers this old know one spelling only.
    if (json_read_string(body, "Serial") != serial) return std::nullopt;
    server_health health;
    health.reachable = true;
    health.lastSeen = seen;
    health.outputs = "[]";
    return health;
}

output_states read_output_states(std::string_view array_text) {
    output_states states;
    for (const std::string_view output : json_split_object_list(array_text))
        states.try_emplace(json_read_string(output, "id"),
                           json_read_bool(output, "available", false) &&
                               json_read_bool(output, "known", true));
    return states;
}

bool output_available(const server_health& health, std::string_view output_id) {
    const auto found = health.available_outputs.find(output_id);
    return found != health.available_outputs.end() && found->second;
}

} // namespace elvantris::operator_control
