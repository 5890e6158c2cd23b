#include "protection/policy.hpp"

#include "json/escape.hpp"
#include "json/field_scanner.hpp"
#include "protection/command_escapes.hpp"

#include <algorithm>
#include <array>
#include <set>

namespace elvantris::operator_control {
namespace {

constexpr std::size_t most_output_rules = 128;
constexpr std::size_t most_actions = 32;
constexpr std::size_t longest_host = 255;

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
            .udp = json_read_string(text, "transport", "TCP") == "UDP",
            .payload = json_read_string(text, "payload"),
            .delayMs = read_unsigned(text, "delayMs", defaults.delayMs),
            .timeoutMs = read_unsigned(text, "timeoutMs", defaults.timeoutMs),
            .retries = read_unsigned(text, "retries", defaults.retries),
            .enabled = json_read_bool(text, "enabled", defaults.enabled)};
}

std::string write_rule(const output_rule& rule) {
    return "{\"mainId\":\"" + json_escape(rule.mainId) + "\",\"backupId\":\"" +
           json_escape(rule.backupId) + "\",\"mode\":" + std::to_string(rule.mode) + '}';
}

// The event goes out as it stands: an enabled action has one of two words, a disabled one keeps
// what was posted.
std::string write_action(const outbound_action& action) {
    std::string out =
        "{\"name\":\"" + json_escape(action.name) + "\",\"event\":\"" + action.event +
        "\",\"host\":\"" + json_escape(action.host) + "\",\"port\":" + std::to_string(action.port) +
        ",\"transport\":\"" + (action.udp ? "UDP" : "TCP") + "\",\"payload\":\"" +
        json_escape(action.payload) + "\",\"delayMs\":" + std::to_string(action.delayMs) +
        ",\"timeoutMs\":" + std::to_string(action.timeoutMs) +
        ",\"retries\":" + std::to_string(action.retries) + ",\"enabled\":";
    return out.append(json_bool(action.enabled)) + '}';
}

template<typename element>
std::string write_list(const std::vector<element>& elements, std::string (*write)(const element&)) {
    std::string out = "[";
    for (const element& each : elements) {
        if (&each != &elements.front()) out += ',';
        out += write(each);
    }
    return out + ']';
}

bool within(std::uint32_t value, std::uint32_t lowest, std::uint32_t highest) {
    return value >= lowest && value <= highest;
}

bool delays_valid(const protection_policy& policy) {
    return within(policy.lossMs, 500, 30000) && within(policy.stallMs, 500, 30000) &&
           within(policy.outputMs, 500, 30000) && within(policy.startupMs, 1000, 60000);
}

bool modes_valid(const protection_policy& policy) {
    const std::array modes{policy.server, policy.engine, policy.responsive,
                           policy.frames, policy.sync,   policy.clock};
    return std::ranges::all_of(modes, [](fault_mode mode) { return mode <= mode_failover; });
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
    policy.server = read_unsigned(text, "server", defaults.server);
    policy.engine = read_unsigned(text, "engine", defaults.engine);
    policy.responsive = read_unsigned(text, "responsive", defaults.responsive);
    policy.frames = read_unsigned(text, "frames", defaults.frames);
    policy.sync = read_unsigned(text, "sync", defaults.sync);
    policy.clock = read_unsigned(text, "clock", defaults.clock);
    policy.resources = read_unsigned(text, "resources", defaults.resources);
    for (const std::string& element : json_read_object_list(text, "outputRules"))
        policy.outputRules.push_back(parse_rule(element));
    for (const std::string& element : json_read_object_list(text, "actions"))
        policy.actions.push_back(parse_action(element));
    return policy;
}

std::string write_policy(const protection_policy& policy) {
    const auto number = [](std::string_view name, std::uint32_t value) {
        return ",\"" + std::string(name) + "\":" + std::to_string(value);
    };
    std::string out = "{\"armed\":";
    out.append(json_bool(policy.armed)).append(",\"audible\":").append(json_bool(policy.audible));
    out += number("lossMs", policy.lossMs) + number("stallMs", policy.stallMs) +
           number("outputMs", policy.outputMs) + number("startupMs", policy.startupMs) +
           number("server", policy.server) + number("engine", policy.engine) +
           number("responsive", policy.responsive) + number("frames", policy.frames) +
           number("sync", policy.sync) + number("clock", policy.clock) +
           number("resources", policy.resources);
    out += ",\"outputRules\":" + write_list(policy.outputRules, write_rule);
    out += ",\"actions\":" + write_list(policy.actions, write_action);
    return out + '}';
}

bool validate_policy(const protection_policy& policy, std::string& error) {
    if (!delays_valid(policy)) {
        error = "Fault delays must be 500-30000 ms; startup grace must be 1000-60000 ms.";
        return false;
    }
    if (policy.resources > mode_alert) {
        error = "Resource pressure supports Ignore or Alert only.";
        return false;
    }
    if (!modes_valid(policy)) {
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
