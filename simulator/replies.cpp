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

// Written by hand: so many objects as JSON values would keep the server busy for seconds.
std::string crowded_configuration(std::int64_t systems) {
    std::string text = R"({"Enabled":true,"ReplicationRevision":1,"SharedFunctionIds":[],)"
                       R"("Systems":[)";
    for (std::int64_t i = 1; i <= systems; ++i) {
        text += i == 1 ? "" : ",";
        text += R"({"Serial":"CROWD-)" + std::to_string(i) +
                R"(","WorkstationName":"Crowd","Address":"10.77.0.99","Role":"Independent",)"
                R"("BackupForSerial":""})";
    }
    return text + "]}";
}

constexpr std::string_view title_place = "<title>";
constexpr std::string_view error_place = "<error>";

// As they are: a JSON writer would make six bytes of each.
void put_control_bytes(std::string& text, std::string_view place, std::int64_t count) {
    const std::size_t found = text.find(place);
    if (count > 0 && found != std::string::npos)
        text.replace(found, place.size(), static_cast<std::size_t>(count), '\x01');
}

} // namespace

// The switch "enabled" comes ahead of the systems: a reader may take the first key of that name.
std::string configuration_reply(const server_view& server, key_spelling spelling) {
    ordered_json reply{{"Enabled", false},
                       {"ReplicationRevision", reported_revision(server.broken, server.revision)},
                       {"SharedFunctionIds", ordered_json::array()},
                       {"Systems", ordered_json::array()}};
    if (server.broken.configuration_systems > 0)
        return crowded_configuration(server.broken.configuration_systems);
    if (server.pair) reply.update(pairing_json(*server.pair));
    return json_text(respell(reply, spelling));
}

std::string replication_reply(const server_view& server, key_spelling spelling) {
    const switches& broken = server.broken;
    const pairing pair = server.pair.value_or(pairing{});
    const std::int64_t title_bytes = broken.replication_title_control_bytes;
    const std::int64_t error_bytes = broken.replication_error_control_bytes;
    const ordered_json reply{
        {"Enabled", pair.enabled},
        {"Role", pair.role_of(server.serial)},
        {"LocalSerial", server.serial},
        {"MainSerial", pair.main_serial()},
        {"Revision", reported_revision(broken, server.revision)},
        {"AppliedRevision", reported_applied_revision(broken, server.revision)},
        {"PendingMedia", broken.replication_pending_media},
        {"EventTitle", title_bytes > 0 ? title_place : event_title(server.event_model)},
        {"LastError", error_bytes > 0 ? error_place : broken.replication_last_error}};
    std::string text = json_text(respell(reply, spelling));
    put_control_bytes(text, title_place, title_bytes);
    put_control_bytes(text, error_place, error_bytes);
    return text;
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
