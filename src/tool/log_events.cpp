#include "tool/log_events.hpp"

#include "protection/alert_texts.hpp"
#include "protection/evaluation.hpp"

namespace elvantris::operator_control {
namespace {

fault_mode mode_of_fault(const history_entry& fault, const protection_policy& policy) {
    const std::string message = condition_of_main(fault);
    for (const fault_condition& each : server_conditions(policy, {}, {}))
        if (each.message.written() == message) return each.mode;
    for (const output_rule& rule : policy.outputRules)
        if (message.ends_with(": " + rule.mainId)) return rule.mode;
    return mode_failover;
}

} // namespace

bool is_of_main(const history_entry& entry) {
    return entry.kind == history_kind::fault && entry.message.starts_with(alert_texts::of_main);
}

bool is_of_backup(const history_entry& entry) {
    return entry.kind == history_kind::fault &&
           (entry.message.starts_with(alert_texts::of_backup) ||
            entry.message == alert_texts::not_synchronized);
}

bool is_unreadiness(const history_entry& entry) {
    return entry.kind == history_kind::fault && entry.message == alert_texts::backup_not_ready;
}

bool is_transfer(const history_entry& entry) {
    return entry.kind == history_kind::transfer;
}

bool goes_to_backup(const history_entry& transfer) {
    return transfer.message.find(std::string(alert_texts::operating_on) + "Backup") !=
           std::string::npos;
}

bool is_on_request(const history_entry& transfer) {
    return reason_of(transfer) == alert_texts::operator_request;
}

std::string reason_of(const history_entry& transfer) {
    return transfer.message.substr(0, transfer.message.rfind(alert_texts::operating_on));
}

bool was_sent(const history_entry& command) {
    return command.message.ends_with(": " + std::string(alert_texts::step_sent));
}

bool only_alerts(const history_entry& fault, const std::optional<protection_policy>& policy) {
    return policy && mode_of_fault(fault, *policy) != mode_failover;
}

std::string condition_of_main(const history_entry& fault) {
    return fault.message.substr(alert_texts::of_main.size());
}

std::string fault_of_main(const std::string& condition) {
    return std::string(alert_texts::of_main) + condition;
}

std::string fault_of_backup(const std::string& condition) {
    return std::string(alert_texts::of_backup) + condition;
}

} // namespace elvantris::operator_control
