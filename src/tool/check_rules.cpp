#include "tool/check_rules.hpp"

#include "protection/alert_texts.hpp"
#include "systems/server_choice.hpp"
#include "tool/local_time.hpp"
#include "tool/saved_file_rules.hpp"

#include <algorithm>
#include <iterator>

namespace elvantris::operator_control {
namespace {

using std::chrono::milliseconds;

constexpr std::uint32_t shortest_wise_loss_ms = 600;
constexpr std::uint32_t longest_wise_startup_ms = 15'000;
constexpr milliseconds longest_wise_sequence{10'000};
constexpr std::uint64_t megabyte = 1'000'000;
// The log grows by 4.1 MB a day with a healthy pair.
constexpr std::uint64_t month_of_logs = 150 * megabyte;

std::string in_quotes(const std::string& text) {
    return std::string("\"").append(text) + '"';
}

std::string_view sequence_name(std::string_view event) {
    return event == "backup" ? alert_texts::to_backup : alert_texts::to_main;
}

} // namespace

findings check_program(const check_view& view) {
    const program_presence presence = view.program.presence;
    if (presence != program_presence::running)
        return {{.id = "program",
                 .sentence = std::string(presence_sentence(presence)),
                 .advice = std::string(presence_advice(presence))}};
    if (!view.program_uses_it)
        return {{.id = "other-configuration",
                 .sentence = other_configuration_sentence(*view.program.status),
                 .advice = "Check again with --config and that file."}};
    return {};
}

findings check_files(const check_view& view) {
    // The running program uses other files.
    if (!view.program_uses_it) return {};
    return examine_saved_files(view.files, view.config_path);
}

findings check_pair(const check_view& view) {
    const auto [registry, policy, held] = setup_of(view);
    findings found;
    if (backup_of_pair(registry.systems) == nullptr)
        found.push_back({.id = "pair",
                         .sentence = "Main and Backup are not chosen.",
                         .advice = "Choose them under Configure Redundancy."});
    else if (!registry.enabled)
        found.push_back({.id = "enabled",
                         .sentence = "The pair is disabled: nothing moves.",
                         .advice = "Under Configure Redundancy, tick Enable live Main / Backup "
                                   "operation."});
    if (!policy.armed)
        found.push_back({.id = "armed",
                         .sentence = "Automatic failover is disarmed.",
                         .advice = "Under Health & Alerts, press Arm Automatic Failover."});
    if (held)
        found.push_back({.id = "held",
                         .sentence = "Operation is held on Backup: nothing moves by itself.",
                         .advice = "When Main is well, press Return to Main."});
    if (view.program.status && registry.controllerConfigured && !registry.policySynchronized)
        found.push_back(
            {.id = "pairing",
             .sentence = "The pairing is not in Main's event: " + registry.policySyncMessage,
             .advice = "It is tried again every few seconds. If it stays so, see "
                       "Pairing Pending in the troubleshooting guide."});
    return found;
}

findings check_settings(const check_view& view) {
    const protection_policy& policy = setup_of(view).policy;
    findings found;
    if (policy.lossMs < shortest_wise_loss_ms)
        found.push_back({.id = "loss-time",
                         .sentence = "The response timeout of " + std::to_string(policy.lossMs) +
                                     " ms is short: a single lost poll can move operation.",
                         .advice = "Choose 650 or more; 1000 is good for most networks."});
    if (policy.startupMs > longest_wise_startup_ms)
        found.push_back({.id = "startup-time",
                         .sentence = "After a start of the program nothing moves by itself for " +
                                     duration_text(policy.startupMs) + '.',
                         .advice = "Shorten Startup / changed-pair grace; 5000 is the default."});
    return found;
}

milliseconds longest_sequence(const protection_policy& policy, std::string_view event) {
    milliseconds longest{};
    for (const outbound_action& action : policy.actions)
        if (action.enabled && action.event == event)
            longest += milliseconds(action.delayMs) +
                       milliseconds(action.timeoutMs) * (action.retries + std::int64_t{1});
    return longest;
}

findings check_commands(const check_view& view) {
    const protection_policy& policy = setup_of(view).policy;
    findings found;
    for (const outbound_action& action : policy.actions) {
        if (!action.enabled) continue;
        if (view.hosts.untold.contains(action.host))
            found.push_back({.id = "command-address",
                             .sentence = "The name server does not say where the command " +
                                         in_quotes(action.name) + " goes: " + action.host + '.',
                             .advice = "Look at the name server, or enter the address in "
                                       "numbers."});
        if (view.hosts.unknown.contains(action.host))
            found.push_back({.id = "command-address",
                             .sentence = "The address of the command " + in_quotes(action.name) +
                                         " can't be found: " + action.host + '.',
                             .advice = "Check the name and the name server, or enter the address "
                                       "in numbers."});
    }
    for (const char* event : {"backup", "main"}) {
        const milliseconds longest = longest_sequence(policy, event);
        if (longest > longest_wise_sequence)
            found.push_back(
                {.id = "command-time",
                 .sentence = std::string("The commands of ").append(sequence_name(event)) +
                             " can take " + duration_text(longest.count()) +
                             "; until then nothing else can move.",
                 .advice = "Shorten delays, timeouts and retries."});
    }
    return found;
}

findings check_decks(const check_view& view) {
    if (!view.program.status) return {};
    const std::vector<seen_deck>& decks = view.program.status->decks;
    if (decks.size() >= view.remembered_decks.size()) return {};
    findings found;
    // Some decks share a serial number.
    std::vector<std::string> there;
    std::ranges::transform(decks, std::back_inserter(there), &seen_deck::serial);
    for (const seen_deck& deck : view.remembered_decks)
        if (const auto same = std::ranges::find(there, deck.serial); same != there.end())
            there.erase(same);
        else
            found.push_back({.id = "deck",
                             .sentence = deck.name + " (" + deck.serial +
                                         ") is missing; it was there at the last good check.",
                             .advice = "Check its cable and end other deck programs. If it is "
                                       "meant to be away, check with --accept-decks."});
    return found;
}

findings check_disk(const check_view& view) {
    if (!view.free_bytes || *view.free_bytes >= month_of_logs) return {};
    return {{.id = "disk",
             .sentence = "The disk of the settings has " +
                         std::to_string(*view.free_bytes / megabyte) +
                         " MB left; a month of logs takes " +
                         std::to_string(month_of_logs / megabyte) + " MB.",
             .advice = "Make room, or shorten the logs."}};
}

findings check_alerts(const check_view& view, const findings& known) {
    if (!view.program.status) return {};
    findings found;
    for (const alert_record& alert : view.program.status->protection.alerts) {
        const bool explained = std::ranges::any_of(known, [&](const finding& each) {
            return std::ranges::find(each.alerts, alert.message) != each.alerts.end();
        });
        if (alert.active && alert.severity != alert_severity::notice && !explained)
            found.push_back({.id = "alert",
                             .sentence = "An alert has been active since " +
                                         local_date(alert.started) + ' ' +
                                         local_clock(alert.started) + ": " + alert.message,
                             .advice = "The guide \"Why did it not fail over?\" has each alert and "
                                       "what to do next."});
    }
    return found;
}

findings check_before_show(const check_view& view) {
    findings found;
    const auto add = [&](findings more) { std::ranges::move(more, std::back_inserter(found)); };
    for (const auto rule : {check_program, check_files, check_pair, check_servers, check_settings,
                            check_commands, check_decks, check_disk})
        add(rule(view));
    add(check_alerts(view, found));
    return found;
}

} // namespace elvantris::operator_control
