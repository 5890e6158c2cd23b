#include "local/api_routes.hpp"

#include "json/field_scanner.hpp"
#include "json/object_writer.hpp"
#include "local/page.hpp"
#include "os/standard_streams.hpp"
#include "systems/discovery.hpp"
#include "systems/pairing_sync.hpp"

#include <algorithm>
#include <exception>
#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace elvantris::operator_control {
namespace {

constexpr milliseconds discovery_silence{1500};
// The page waits for a save, and so do all requests behind it.
constexpr std::chrono::seconds longest_sync{25};

api_reply ok() {
    return {.body = R"({"ok":true})"};
}

api_reply bad_request(std::string body) {
    return {.status = 400, .body = std::move(body)};
}

api_reply not_found() {
    return {.status = 404, .content_type = "text/plain; charset=utf-8", .body = "not found"};
}

// The outcome of an operator's act: `error` is empty where it worked.
api_reply outcome(bool done, const std::string& error) {
    if (done) return {.body = R"({"ok":true,"error":""})"};
    return bad_request(json_object_writer().flag("ok", false).text("error", error).written());
}

std::string write_delivery(const delivery_result& delivery) {
    return json_object_writer()
        .text("role", role_word(delivery.role))
        .flag("attempted", delivery.attempted)
        .flag("sent", delivery.sent)
        .text("error", delivery.error)
        .written();
}

std::string write_deck(const deck_info& deck) {
    return json_object_writer()
        .text("serial", deck.serial)
        .text("name", deck.device_name)
        .text("productId", deck.pid)
        .number("keyCount", deck.key_count)
        .written();
}

struct settings {
    bool enabled = false;
    std::string main_serial;
    std::string backup_serial;
    std::set<std::int32_t> shared_function_ids;
    std::int32_t ui_port = 0;
    bool open_browser_on_start = false;

    bool concerns_pair() const { return enabled || !main_serial.empty() || !backup_serial.empty(); }
};

settings read_settings(const std::string& body, const controller_registry& registry) {
    return {.enabled = json_read_bool(body, "enabled", false),
            .main_serial = json_read_string(body, "mainSerial"),
            .backup_serial = json_read_string(body, "backupSerial"),
            .shared_function_ids = json_read_int_set(body, "sharedFunctionIds"),
            .ui_port = json_read_int(body, "uiPort", registry.ui_port()),
            .open_browser_on_start =
                json_read_bool(body, "openBrowserOnStart", registry.open_browser_on_start())};
}

// The sentence for the operator; empty for settings that can be taken.
std::string_view settings_error(const settings& wanted, const controller_registry& registry) {
    if (wanted.ui_port < lowest_ui_port || wanted.ui_port > highest_ui_port)
        return "Control UI port must be between 1024 and 65535.";
    if (!wanted.concerns_pair()) return {};
    if (wanted.main_serial.empty() || wanted.backup_serial.empty() ||
        wanted.main_serial == wanted.backup_serial)
        return "A different Main and Backup are required.";
    if (!registry.find_system(wanted.main_serial) || !registry.find_system(wanted.backup_serial))
        return "The selected systems are not in the Redundancy Control registry.";
    return {};
}

} // namespace

api_reply api_routes::answer(const http_request& request, const call_limits& limits) {
    const auto is = [&](std::string_view method, std::string_view path) {
        return request.method == method && request.path == path;
    };
    if (is("GET", "/")) return diagnostics_page();
    if (is("GET", "/api/status")) return status();
    if (is("POST", "/api/protection")) return save_protection(request.body);
    if (is("POST", "/api/protection/operate")) return operate_protection(request.body);
    if (is("POST", "/api/protection/test")) return test_protection(request.body);
    if (is("POST", "/api/discover")) return discover(limits);
    if (is("POST", "/api/configure")) return configure(request.body, limits);
    if (is("POST", "/api/role")) return set_role(request.body);
    if (is("POST", "/api/shared")) return set_shared(request.body);
    if (is("POST", "/api/route")) return route_command(request.body);
    return not_found();
}

api_reply api_routes::diagnostics_page() {
    return {.content_type = "text/html; charset=utf-8",
            .body = build_diagnostics_page(registry_.ui_port())};
}

api_reply api_routes::status() {
    json_object_writer body(registry_.to_json());
    const auto active = registry_.active_system();
    const std::vector<deck_info> decks = adapter_.list_decks();
    body.text("active", active_word(active))
        .text("activeSerial", active ? active->serial : "")
        .number("streamDeckCount", decks.size())
        .json("streamDecks", json_array(decks, write_deck))
        .json("protection", protection_.protection_status_json())
        .text("configPath", registry_.configuration_path());
    return {.body = body.written()};
}

api_reply api_routes::save_protection(const std::string& body) {
    std::string error;
    const bool saved = protection_.replace_policy(body, error);
    return outcome(saved, error);
}

api_reply api_routes::operate_protection(const std::string& body) {
    std::string error;
    const bool done = protection_.operate(json_read_string(body, "operation"), error);
    return outcome(done, error);
}

api_reply api_routes::test_protection(const std::string& body) {
    std::string error;
    const bool queued = protection_.test_action(json_read_int(body, "index", -1), error);
    return outcome(queued, error);
}

api_reply api_routes::discover(const call_limits& limits) {
    std::vector<discovered_server> found;
    try {
        found = discover_servers(discovery_silence, registry_.serials(), limits);
    } catch (const std::exception&) {
        // Nobody found, as far as the client is told; the main loop logs the cause in its passes.
    }
    registry_.merge_discovered(std::move(found), steady_now());
    registry_.save();
    return ok();
}

api_reply api_routes::configure(const std::string& body, const call_limits& limits) {
    const settings wanted = read_settings(body, registry_);
    if (const std::string_view error = settings_error(wanted, registry_); !error.empty())
        return outcome(false, std::string(error));

    const std::uint16_t port_before = registry_.ui_port();
    if (wanted.concerns_pair())
        registry_.configure(wanted.enabled, wanted.main_serial, wanted.backup_serial);
    registry_.set_shared_function_ids(wanted.shared_function_ids);
    registry_.set_ui_port(static_cast<std::uint16_t>(wanted.ui_port));
    registry_.set_open_browser_on_start(wanted.open_browser_on_start);
    registry_.save();

    std::string message = "Application settings saved.";
    bool server_updated = false;
    if (registry_.controller_configured() && registry_.has_pair())
        server_updated = sync_configured_pairing(registry_, message, limits.within(longest_sync));
    registry_.save();

    const std::uint16_t port_now = registry_.ui_port();
    return {.body = json_object_writer()
                        .flag("ok", true)
                        .flag("serverUpdated", server_updated)
                        .number("uiPort", port_now)
                        .flag("uiPortChanged", port_now != port_before)
                        .text("message", message)
                        .written()};
}

api_reply api_routes::set_role(const std::string& body) {
    const std::string serial = json_read_string(body, "serial");
    const std::string role = json_read_string(body, "role");
    if (serial.empty() || role.empty()) return bad_request(R"({"ok":false})");
    registry_.set_role(serial, role_from_word(role), json_read_string(body, "backupForSerial"));
    registry_.save();
    return ok();
}

api_reply api_routes::set_shared(const std::string& body) {
    registry_.set_shared_function_ids(json_read_int_set(body, "ids"));
    registry_.save();
    return ok();
}

api_reply api_routes::route_command(const std::string& body) {
    const std::int32_t function_id = json_read_int(body, "functionId", 0);
    const std::string target_serial = json_read_string(body, "targetSerial");
    const std::string payload = json_read_string(body, "payload");
    write_output_line("[route] request function=" + std::to_string(function_id) +
                      " target=" + (target_serial.empty() ? "<auto>" : target_serial) +
                      " payloadBytes=" + std::to_string(payload.size()));
    if (function_id < 1 || payload.empty())
        return bad_request(R"({"ok":false,"error":"functionId and payload are required"})");

    const auto target =
        target_serial.empty() ? registry_.find_main() : registry_.find_system(target_serial);
    const bool shared = registry_.shared_function_ids().contains(function_id);
    const auto backup = target && shared ? registry_.find_backup_for(target->serial) : std::nullopt;
    const fanout_result result = router_.route_streamdeck(function_id, target_serial, payload);
    const bool routed = std::ranges::any_of(result.deliveries, &delivery_result::sent);

    return {.body = json_object_writer()
                        .flag("ok", true)
                        .flag("routed", routed)
                        .flag("targetFound", target.has_value())
                        .flag("mainOnline", target && target->online)
                        .flag("shared", shared)
                        .flag("backupOnline", backup && backup->online)
                        .number("sequence", result.sequence)
                        .json("deliveries", json_array(result.deliveries, write_delivery))
                        .written()};
}

} // namespace elvantris::operator_control
