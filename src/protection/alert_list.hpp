// The bounded list of what is wrong and what was.
//
// Pure: time comes in, and what must be logged comes out. Its owner's lock guards it.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <set>
#include <string>
#include <string_view>

namespace elvantris::operator_control {

enum class alert_severity { notice, warning, critical };

struct alert_record {
    std::uint64_t id = 0;
    std::string key; // the condition; not shown to the operator
    std::string message;
    alert_severity severity = alert_severity::warning;
    std::int64_t started = 0;   // wall-clock milliseconds
    std::int64_t recovered = 0; // 0 until the alert ends
    bool active = false;
    bool acknowledged = false;
};

enum class alert_change { none, raised, recovered };

class alert_list {
public:
    // A key has at most one active record. Raising an active key changes nothing, not even its
    // text. Above 200 records the oldest recovered one is dropped; without one, the oldest.
    alert_change raise(std::string_view key, std::string_view message, alert_severity severity,
                       std::int64_t now_ms);
    alert_change clear(std::string_view key, std::int64_t now_ms);

    // Ends every active alert and logs nothing: their pair has been replaced.
    void recover_all(std::int64_t now_ms);
    void acknowledge_all();

    // Oldest first.
    const std::deque<alert_record>& records() const { return records_; }

private:
    using key_set = std::set<std::string, std::less<>>;

    void make_room();

    std::deque<alert_record> records_; // at most 200
    // Of the active records. Each cycle asks for hundreds of keys, most of which aren't active.
    key_set active_keys_;
    std::uint64_t last_id_ = 0;
};

} // namespace elvantris::operator_control
