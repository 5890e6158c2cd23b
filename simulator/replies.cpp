#include "replies.hpp"

#include "key_spelling.hpp"

namespace elvantris::simulator {

namespace {

using nlohmann::ordered_json;

ordered_json channels(const server_view& server) {
    const std::int64_t age_ms = server.broken.frame_age_ms.value_or(server.frame_age_ms);
    ordered_json result = ordered_json::array();
    if (server.broken.engine == engine_state::stopped) return result;
    for (std::int64_t i = 1; i <= server.broken.channel_count; ++i)
        result.push_back({{"name", "Channel " + std::to_string(i)}, {"ageMs", age_ms}});
    return result;
}

std::string outputs_text(const switches& broken, key_spelling spelling) {
    if (const auto* raw = std::get_if<std::string>(&broken.outputs)) return *raw;
    return json_text(respell(std::get<ordered_json>(broken.outputs), spelling));
}

} // namespace

// The switch "enabled" comes ahead of the systems: a reader may take the first key of that name.
std::string configuration_reply(const server_view& server, key_spelling spelling) {
    ordered_json reply{{"Enabled", false},
                       {"ReplicationRevision", reported_revision(server.broken, server.revision)},
                       {"SharedFunctionIds", ordered_json::array()},
                       {"Systems", ordered_json::array()}};
    if (server.pair) reply.update(pairing_json(*server.pair));
    return json_text(respell(reply, spelling));
}

std::string replication_reply(const server_view& server, key_spelling spelling) {
    const switches& broken = server.broken;
    const pairing pair = server.pair.value_or(pairing{});
    const ordered_json reply{
        {"Enabled", pair.enabled},
        {"Role", pair.role_of(server.serial)},
        {"LocalSerial", server.serial},
        {"MainSerial", pair.main_serial()},
        {"Revision", reported_revision(broken, server.revision)},
        {"AppliedRevision", reported_applied_revision(broken, server.revision)},
        {"PendingMedia", broken.replication_pending_media},
        {"EventTitle", event_title(server.event_model)},
        {"LastError", broken.replication_last_error}};
    return json_text(respell(reply, spelling));
}

std::string identity_reply(const server_view& server, key_spelling spelling) {
    const ordered_json reply{{"Serial", server.serial}, {"WorkstationName", server.workstation}};
    return json_text(respell(reply, spelling));
}

// The lists come last, so that their keys stand behind the top-level ones.
std::string health_reply(const server_view& server, key_spelling spelling) {
    const switches& broken = server.broken;
    const bool running = broken.engine != engine_state::stopped;
    const ordered_json head{
        {"serial", server.serial},
        {"version", broken.health_version},
        {"engineRunning", running},
        {"engineResponsive", running && broken.engine != engine_state::unresponsive},
        {"telemetryAvailable", running && broken.telemetry},
        {"engineStarting", broken.engine == engine_state::starting},
        {"clockEngaged", broken.clock_engaged},
        {"clockHealthy", broken.clock_healthy},
        {"resourcesKnown", broken.resources_known},
        {"memoryAvailablePercent", broken.memory_available_percent},
        {"cpuPercent", broken.cpu_percent},
        {"gpuTemperature", broken.gpu_temperature}};
    const ordered_json tail{{"channels", channels(server)}};
    std::string text = json_text(respell(head, spelling));
    text.back() = ',';
    const char* outputs_key = spelling == key_spelling::pascal_case ? "Outputs" : "outputs";
    text += '"';
    text += outputs_key;
    text += "\":" + outputs_text(broken, spelling) + ',';
    return text + json_text(respell(tail, spelling)).substr(1);
}

} // namespace elvantris::simulator
