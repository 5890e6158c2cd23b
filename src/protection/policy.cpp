#include "protection/policy.hpp"

#include "json/field_scanner.hpp"
#include "json/object_writer.hpp"
#include "protection/command_escapes.hpp"

#include <algorithm>
#include <array>
#include <optional>
#include <set>

namespace elvantris::operator_control {
namespace {

constexpr std::size_t most_output_rules = 128;
constexpr std::size_t most_actions = 32;
constexpr std::size_t longest_host = 255;

// How a fault is answered, in the order in which the modes are written.
struct named_mode {
    std::string_view name;
    fault_mode protection_policy::*member;
    fault_mode highest;
};
constexpr std::array named_modes{
    named_mode{"server", &protection_policy::server, mode_failover},
    named_mode{"engine", &protection_policy::engine, mode_failover},
    named_mode{"responsive", &protection_policy::responsive, mode_failover},
    named_mode{"frames", &protection_policy::frames, mode_failover},
    named_mode{"sync", &protection_policy::sync, mode_failover},
    named_mode{"clock", &protection_policy::clock, mode_failover},
    named_mode{"resources", &protection_policy::resources, mode_alert},
};
constexpr const named_mode& resources_mode = named_modes.back();

// A negative number becomes a very large one, and fails its range.
std::uint32_t read_unsigned(std::string_view text, std::string_view key, std::uint32_t fallback) {
    return static_cast<std::uint32_t>(
        json_read_int(text, key, static_cast<std::int32_t>(fallback)));
}

output_rule parse_rule(std::string_view text) {
    const output_rule defaults;
    return {.mainId = json_read_string(text, "mainId"),
            .backupId = json_read_string(text, "backupId"),
            .mode = read_unsigned(text, "mode", defaults.mode)};
}

outbound_action parse_action(std::string_view text) {
    const outbound_action defaults;
    return {.name = json_read_string(text, "name"),
            .event = json_read_string(text, "event", defaults.event),
            .host = json_read_string(text, "host"),
            .port = json_read_int(text, "port", defaults.port),
            .transport = json_read_string(text, "transport", "TCP") == "UDP" ? transport::udp
                                                                             : transport::tcp,
            .payload = json_read_string(text, "payload"),
            .delayMs = read_unsigned(text, "delayMs", defaults.delayMs),
            .timeoutMs = read_unsigned(text, "timeoutMs", defaults.timeoutMs),
            .retries = read_unsigned(text, "retries", defaults.retries),
            .enabled = json_read_bool(text, "enabled", defaults.enabled)};
}

// Reads at most one element more than the list may hold: enough to refuse it, however long the
// text is.
template<typename element>
std::vector<element> parse_list(std::string_view text, std::string_view key, std::size_t most,
                                element (*parse)(std::string_view)) {
    std::vector<element> elements;
    json_object_cursor objects(json_view_array(text, key));
    while (elements.size() <= most) {
        const std::optional<std::string_view> object = objects.next();
        if (!object) break;
        elements.push_back(parse(*object));
    }
    return elements;
}

std::string write_rule(const output_rule& rule) {
    return json_object_writer()
        .text("mainId", rule.mainId)
        .text("backupId", rule.backupId)
        .number("mode", rule.mode)
        .written();
}

// The event is written without escapes: an enabled action has one of two words, a disabled one
// keeps what was posted.
std::string write_action(const outbound_action& action) {
    return json_object_writer()
        .text("name", action.name)
        .json("event", '"' + action.event + '"')
        .text("host", action.host)
        .number("port", action.port)
        .text("transport", action.transport == transport::udp ? "UDP" : "TCP")
        .text("payload", action.payload)
        .number("delayMs", action.delayMs)
        .number("timeoutMs", action.timeoutMs)
        .number("retries", action.retries)
        .flag("enabled", action.enabled)
        .written();
}

bool within(std::uint32_t value, std::uint32_t lowest, std::uint32_t highest) {
    return value >= lowest && value <= highest;
}

bool delays_valid(const protection_policy& policy) {
    return within(policy.lossMs, 500, 30000) && within(policy.stallMs, 500, 30000) &&
           within(policy.outputMs, 500, 30000) && within(policy.startupMs, 1000, 60000);
}

bool rules_valid(const std::vector<output_rule>& rules) {
    std::set<std::string_view> seen;
    return std::ranges::all_of(rules, [&](const output_rule& rule) {
        return !rule.mainId.empty() && rule.mode <= mode_failover &&
               seen.insert(rule.mainId).second &&
               (rule.mode != mode_failover || !rule.backupId.empty());
    });
}

bool destination_valid(const outbound_action& action) {
    return !action.host.empty() && action.host.size() <= longest_host && action.port >= 1 &&
           action.port <= 65535 && within(action.timeoutMs, 100, 3000) && action.delayMs <= 10000 &&
           action.retries <= 3 && (action.event == "backup" || action.event == "main");
}

} // namespace

protection_policy parse_policy(std::string_view text) {
    const protection_policy defaults;
    protection_policy policy;
    policy.armed = json_read_bool(text, "armed", defaults.armed);
    policy.audible = json_read_bool(text, "audible", defaults.audible);
    policy.lossMs = read_unsigned(text, "lossMs", defaults.lossMs);
    policy.stallMs = read_unsigned(text, "stallMs", defaults.stallMs);
    policy.outputMs = read_unsigned(text, "outputMs", defaults.outputMs);
    policy.startupMs = read_unsigned(text, "startupMs", defaults.startupMs);
    for (const named_mode& mode : named_modes)
        policy.*mode.member = read_unsigned(text, mode.name, defaults.*mode.member);
    policy.outputRules = parse_list(text, "outputRules", most_output_rules, parse_rule);
    policy.actions = parse_list(text, "actions", most_actions, parse_action);
    return policy;
}

std::string write_policy(const protection_policy& policy) {
    json_object_writer object;
    object.flag("armed", policy.armed)
        .flag("audible", policy.audible)
        .number("lossMs", policy.lossMs)
        .number("stallMs", policy.stallMs)
        .number("outputMs", policy.outputMs)
        .number("startupMs", policy.startupMs);
    for (const named_mode& mode : named_modes)
        object.number(mode.name, policy.*mode.member);
    return object.json("outputRules", json_array(policy.outputRules, write_rule))
        .json("actions", json_array(policy.actions, write_action))
        .written();
}

bool validate_policy(const protection_policy& policy, std::string& error) {
    if (!delays_valid(policy)) {
        error = "Fault delays must be 500-30000 ms; startup grace must be 1000-60000 ms.";
        return false;
    }
    const auto too_high = [&](const named_mode& mode) {
        return policy.*mode.member > mode.highest;
    };
    if (too_high(resources_mode)) {
        error = "Resource pressure supports Ignore or Alert only.";
        return false;
    }
    if (std::ranges::any_of(named_modes, too_high)) {
        error = "Choose Ignore, Alert only, or Alert + failover.";
        return false;
    }
    if (policy.outputRules.size() > most_output_rules || policy.actions.size() > most_actions) {
        error = "Maximum 128 output rules and 32 outbound actions.";
        return false;
    }
    if (!rules_valid(policy.outputRules)) {
        error = "Each protected output needs a unique Main output; failover rules also need a "
                "Backup output.";
        return false;
    }
    for (const outbound_action& action : policy.actions) {
        if (!action.enabled) continue;
        if (!destination_valid(action)) {
            error = "Check action destination, event, timeout, delay, and retry settings.";
            return false;
        }
        std::string bytes;
        if (!decode_command_escapes(action.payload, bytes, error)) return false;
    }
    return true;
}

} // namespace elvantris::operator_control
