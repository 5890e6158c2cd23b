#include "protection/alert_list.hpp"

#include "json/object_writer.hpp"

#include <algorithm>

namespace elvantris::operator_control {
namespace {

constexpr std::size_t most_records = 200;

std::string_view severity_word(alert_severity severity) {
    switch (severity) {
    case alert_severity::notice:
        return "notice";
    case alert_severity::warning:
        return "warning";
    case alert_severity::critical:
        break;
    }
    return "critical";
}

std::string write_record(const alert_record& record) {
    return json_object()
        .number("id", record.id)
        .text("message", record.message)
        .text("severity", severity_word(record.severity))
        .number("started", record.started)
        .number("recovered", record.recovered)
        .flag("active", record.active)
        .flag("acknowledged", record.acknowledged)
        .written();
}

} // namespace

alert_record* alert_list::find_active(std::string_view key) {
    const auto found = std::ranges::find_if(
        records_, [&](const alert_record& record) { return record.active && record.key == key; });
    return found == records_.end() ? nullptr : &*found;
}

alert_change alert_list::raise(const std::string& key, std::string_view message,
                               alert_severity severity, std::int64_t now_ms) {
    if (find_active(key) != nullptr) return alert_change::none;
    if (records_.size() >= most_records) {
        const auto recovered = std::ranges::find(records_, false, &alert_record::active);
        records_.erase(recovered == records_.end() ? records_.begin() : recovered);
    }
    records_.push_back({.id = ++last_id_,
                        .key = key,
                        .message = std::string(message),
                        .severity = severity,
                        .started = now_ms,
                        .recovered = 0,
                        .active = true,
                        .acknowledged = false});
    return alert_change::raised;
}

alert_change alert_list::clear(const std::string& key, std::int64_t now_ms) {
    alert_record* const record = find_active(key);
    if (record == nullptr) return alert_change::none;
    record->active = false;
    record->recovered = now_ms;
    return alert_change::recovered;
}

void alert_list::recover_all(std::int64_t now_ms) {
    for (alert_record& record : records_) {
        if (!record.active) continue;
        record.active = false;
        record.recovered = now_ms;
    }
}

void alert_list::acknowledge_all() {
    for (alert_record& record : records_)
        record.acknowledged = true;
}

std::string alert_list::to_json() const {
    return json_array(records_, write_record);
}

} // namespace elvantris::operator_control
