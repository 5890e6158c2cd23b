// The lasting history of alerts and outbound steps: one JSON object a line, appended for ever.
//
// Threads: the caller's lock keeps lines of different threads apart.
// Failure: ignored. A full disk costs only history, and nobody waits for it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace elvantris::operator_control {

class json_object;

class alert_log {
public:
    explicit alert_log(std::string path) : path_(std::move(path)) {}

    void fault(std::int64_t time_ms, std::string_view key, std::string_view message) const;
    void recovered(std::int64_t time_ms, std::string_view key) const;
    void action(std::int64_t time_ms, std::string_view message) const;

private:
    void append(const json_object& line) const;

    std::string path_;
};

} // namespace elvantris::operator_control
