#include "systems/pairing_sync.hpp"

#include "json/field_scanner.hpp"
#include "json/object_writer.hpp"
#include "systems/form_encoding.hpp"
#include "systems/server_http.hpp"
#include "systems/server_polling.hpp"
#include "text/scanning.hpp"

#include <algorithm>
#include <set>

namespace elvantris::operator_control {
namespace {

constexpr milliseconds sync_timeout{1500};
constexpr milliseconds shortest_update_timeout{3000};
constexpr std::chrono::seconds longest_event_exchange{30};
constexpr std::string_view synchronized_message = "Main event pairing is synchronized.";

std::set<std::string> role_statements(const operator_control_config& config) {
    std::set<std::string> statements;
    for (const operator_control_system& system : config.systems)
        statements.insert(system.serial + '|' + std::string(role_word(system.role)) + '|' +
                          system.backup_for_serial);
    return statements;
}

bool is_usable_event_model(const http_response& reply) {
    return reply.status == 200 && !reply.body.empty() && !reply.body.starts_with("ERROR");
}

http_response get_event_model(const std::string& host, std::uint16_t web_port, milliseconds timeout,
                              const call_limits& limits) {
    return http_exchange({.host = host,
                          .port = web_port,
                          .method = "GET",
                          .path = "/Home/GetEventModel",
                          .body = {},
                          .content_type = {},
                          .timeout = timeout},
                         limits.within(longest_event_exchange));
}

http_response post_event_model(const std::string& host, std::uint16_t web_port,
                               std::string_view event_model, milliseconds timeout,
                               const call_limits& limits) {
    return http_exchange({.host = host,
                          .port = web_port,
                          .method = "POST",
                          .path = "/Home/UpdateEventModel",
                          .body = "room=prime&data=" + url_encode_form(event_model),
                          .content_type = "application/x-www-form-urlencoded",
                          .timeout = std::max(timeout, shortest_update_timeout)},
                         limits.within(longest_event_exchange));
}

// Why no run can be made now; empty if one can, and then `main` is set.
std::string_view obstacle(const controller_registry& registry, std::optional<system_record>& main) {
    if (!registry.controller_configured())
        return "Redundancy Control has not been configured on this workstation.";
    auto pair = registry.find_pair();
    if (!pair) return "Choose a Main and Backup.";
    main = std::move(pair->main);
    if (!main->online) return "Pairing saved locally. Waiting for Main to come online.";
    return {};
}

} // namespace

bool sync_configured_pairing(controller_registry& registry, std::string& message_out,
                             const call_limits& limits, sync_caller caller) {
    pairing_turns& turns = registry.turns();
    const auto turn = caller == sync_caller::save ? turns.wait_for(limits) : turns.take_if_free();
    if (!turn) {
        message_out = waiting_message(registry.enabled());
        return false;
    }
    call_limits reading = limits;
    if (caller == sync_caller::pass)
        reading.given_up = [&] { return turns.save_waits() || limits.is_given_up(); };

    std::optional<system_record> main;
    message_out = obstacle(registry, main);
    const bool synchronized =
        message_out.empty() &&
        sync_main_pairing(main->address, main->webPort, registry.pairing_config(), message_out,
                          sync_timeout, reading, limits);
    if (synchronized || !reading.is_given_up()) registry.set_policy_sync(synchronized, message_out);
    return synchronized;
}

bool sync_main_pairing(const std::string& host, std::uint16_t web_port,
                       const operator_control_config& desired, std::string& message_out,
                       milliseconds timeout, const call_limits& limits,
                       const call_limits& update_limits) {
    const auto present = fetch_operator_control_config(host, web_port, timeout, limits);
    if (present && pairing_equivalent(*present, desired)) {
        message_out = synchronized_message;
        return true;
    }

    const http_response model = get_event_model(host, web_port, timeout, limits);
    if (!is_usable_event_model(model)) {
        message_out = "Main is online but its current event could not be read.";
        return false;
    }
    // The revision is the server's to advance; it goes back as it came.
    const std::int64_t revision = present ? present->replication_revision
                                          : json_read_int64(model.body, "ReplicationRevision", 0);
    const std::string updated =
        splice_operator_control(model.body, build_operator_control_json(desired, revision));
    if (updated.empty()) {
        message_out = "Main event configuration could not be prepared.";
        return false;
    }
    // Who waits for this run to end would otherwise wait for the whole update, and one that has no
    // time left would only be torn off.
    if (limits.over()) {
        message_out = waiting_message(desired.enabled);
        return false;
    }
    const http_response answer = post_event_model(host, web_port, updated, timeout, update_limits);
    if (answer.status != 200 || answer.body.find("OK") == std::string::npos) {
        message_out = "Main rejected the Redundancy Control pairing update.";
        return false;
    }
    const auto confirmed = fetch_operator_control_config(host, web_port, timeout, limits);
    if (!confirmed || !pairing_equivalent(*confirmed, desired)) {
        message_out = "Main accepted the update but has not exposed the new pairing yet.";
        return false;
    }
    message_out = synchronized_message;
    return true;
}

bool pairing_equivalent(const operator_control_config& a, const operator_control_config& b) {
    return a.enabled == b.enabled && a.shared_function_ids == b.shared_function_ids &&
           role_statements(a) == role_statements(b);
}

std::string build_operator_control_json(const operator_control_config& desired,
                                        std::int64_t revision) {
    const auto write_system = [](const operator_control_system& system) {
        return json_object_writer()
            .text("Serial", system.serial)
            .text("WorkstationName", system.workstation_name)
            .text("Address", system.address)
            .text("Role", role_word(system.role))
            .text("BackupForSerial", system.backup_for_serial)
            .written();
    };
    const auto number = [](std::int32_t id) { return std::to_string(id); };
    return json_object_writer()
        .flag("Enabled", desired.enabled)
        .json("Systems", json_array(desired.systems, write_system))
        .json("SharedFunctionIds", json_array(desired.shared_function_ids, number))
        .number("ReplicationRevision", revision)
        .written();
}

std::string splice_operator_control(std::string_view event_model_text,
                                    std::string_view object_text) {
    // The answer is incomplete. Sending it back would delete the rest of the show.
    if (json_object_is_cut(event_model_text)) return {};
    const auto join = [](std::string_view head, std::string_view middle, std::string_view tail) {
        return std::string(head).append(middle).append(tail);
    };
    std::size_t start = 0;
    std::size_t end = 0;
    if (find_json_value_span(event_model_text, "OperatorControl", start, end) ||
        find_json_value_span(event_model_text, "operatorControl", start, end))
        return join(event_model_text.substr(0, start), object_text, event_model_text.substr(end));

    const std::size_t brace = event_model_text.rfind('}');
    if (brace == std::string_view::npos) return {};
    const std::string_view content = event_model_text.substr(0, brace);
    const std::size_t last = content.find_last_not_of(white_space);
    const std::size_t content_end = last == std::string_view::npos ? 0 : last + 1;
    const bool needs_comma = content_end != 0 && content[last] != '{';
    return join(content.substr(0, content_end),
                std::string(needs_comma ? "," : "") + "\"OperatorControl\":", object_text)
        .append(event_model_text.substr(content_end));
}

} // namespace elvantris::operator_control
