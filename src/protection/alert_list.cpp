#include "protection/alert_list.hpp"

#include <algorithm>

namespace elvantris::operator_control {
namespace {

constexpr std::size_t most_records = 200;

} // namespace

alert_change alert_list::raise(std::string_view key, std::string_view message,
                               alert_severity severity, std::int64_t now_ms) {
    if (active_keys_.contains(key)) return alert_change::none;
    // What may throw comes first: if it throws, the list is unchanged.
    key_set added{std::string(key)};
    records_.push_back({.id = last_id_ + 1,
                        .key = std::string(key),
                        .message = std::string(message),
                        .severity = severity,
                        .started = now_ms,
                        .recovered = 0,
                        .active = true,
                        .acknowledged = false});
    ++last_id_;
    active_keys_.merge(added);
    if (records_.size() > most_records) make_room();
    return alert_change::raised;
}

void alert_list::make_room() {
    auto leaving = std::ranges::find(records_, false, &alert_record::active);
    if (leaving == records_.end()) {
        leaving = records_.begin();
        active_keys_.erase(leaving->key);
    }
    records_.erase(leaving);
}

alert_change alert_list::clear(std::string_view key, std::int64_t now_ms) {
    const auto active_key = active_keys_.find(key);
    if (active_key == active_keys_.end()) return alert_change::none;
    const auto record = std::ranges::find_if(
        records_, [&](const alert_record& each) { return each.active && each.key == key; });
    record->active = false;
    record->recovered = now_ms;
    active_keys_.erase(active_key);
    return alert_change::recovered;
}

void alert_list::recover_all(std::int64_t now_ms) {
    active_keys_.clear();
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
