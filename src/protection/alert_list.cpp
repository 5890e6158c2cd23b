#include "protection/alert_list.hpp"

#include <algorithm>

namespace elvantris::operator_control {
namespace {

constexpr std::size_t most_records = 200;

} // namespace

alert_record* alert_list::find_active(std::string_view key) {
    const auto found = std::ranges::find_if(
        records_, [&](const alert_record& record) { return record.active && record.key == key; });
    return found == records_.end() ? nullptr : &*found;
}

alert_change alert_list::raise(std::string_view key, std::string_view message,
                               alert_severity severity, std::int64_t now_ms) {
    if (find_active(key) != nullptr) return alert_change::none;
    // The new record first: adding it may fail, and then the list is as it was.
    records_.push_back({.id = last_id_ + 1,
                        .key = std::string(key),
                        .message = std::string(message),
                        .severity = severity,
                        .started = now_ms,
                        .recovered = 0,
                        .active = true,
                        .acknowledged = false});
    ++last_id_;
    if (records_.size() > most_records) {
        const auto recovered = std::ranges::find(records_, false, &alert_record::active);
        records_.erase(recovered == records_.end() ? records_.begin() : recovered);
    }
    return alert_change::raised;
}

alert_change alert_list::clear(std::string_view key, std::int64_t now_ms) {
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

} // namespace elvantris::operator_control
