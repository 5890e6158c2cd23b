#include "tool/log_events.hpp"

#include "protection/evaluation.hpp"
#include "tool/alert_texts.hpp"

namespace elvantris::operator_control {
namespace {

constexpr std::string_view main_prefix = "Main: ";
constexpr std::string_view backup_prefix = "Backup: ";
constexpr std::string_view operator_request = "Operator requested transfer";
constexpr std::string_view moved_words = "; operating on ";

} // namespace

bool is_of_main(const history_entry& entry) {
    return entry.kind == history_kind::fault && entry.message.starts_with(main_prefix);
}

bool is_of_backup(const history_entry& entry) {
    return entry.kind == history_kind::fault && (entry.message.starts_with(backup_prefix) ||
                                                 entry.message == alert_texts::not_synchronized);
}

bool is_unreadiness(const history_entry& entry) {
    return entry.kind == history_kind::fault && entry.message == alert_texts::backup_not_ready;
}

bool is_transfer(const history_entry& entry) {
    return entry.kind == history_kind::transfer;
}

bool goes_to_backup(const history_entry& transfer) {
    return transfer.message.find(std::string(moved_words) + "Backup") != std::string::npos;
}

bool is_on_request(const history_entry& transfer) {
    return reason_of(transfer) == operator_request;
}

std::string reason_of(const history_entry& transfer) {
    return transfer.message.substr(0, transfer.message.rfind(moved_words));
}

bool was_sent(const history_entry& command) {
    return command.message.ends_with(": sent; device execution unconfirmed.");
}

fault_mode mode_of_fault(const history_entry& fault, const protection_policy& policy) {
    const std::string message = condition_of_main(fault);
    for (const fault_condition& each : server_conditions(policy, {}, {}))
        if (each.message.written() == message) return each.mode;
    for (const output_rule& rule : policy.outputRules)
        if (message.ends_with(": " + rule.mainId)) return rule.mode;
    return mode_failover;
}

std::string condition_of_main(const history_entry& fault) {
    return fault.message.substr(main_prefix.size());
}

std::string fault_of_main(const std::string& condition) {
    return std::string(main_prefix) + condition;
}

std::string fault_of_backup(const std::string& condition) {
    return std::string(backup_prefix) + condition;
}

} // namespace elvantris::operator_control
