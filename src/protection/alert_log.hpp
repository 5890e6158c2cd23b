// The lasting history of alerts and outbound steps: one JSON object a line, appended for ever.
//
// Threads: the caller's lock keeps lines of different threads apart.
// Failure: ignored. A full disk costs only history, and nobody waits for it. A line that can't be
//   written whole, or not be made for want of memory, is left out.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace elvantris::operator_control {

// Takes one whole line with its end.
using line_writer = std::function<void(std::string_view line)>;

// The file is open for the length of a line.
line_writer append_to(const std::string& path);

class alert_log {
public:
    explicit alert_log(const std::string& path) : alert_log(append_to(path)) {}
    explicit alert_log(line_writer write) : write_(std::move(write)) {}

    void fault(std::int64_t time_ms, std::string_view key, std::string_view message) noexcept;
    void recovered(std::int64_t time_ms, std::string_view key) noexcept;
    void action(std::int64_t time_ms, std::string_view message) noexcept;

private:
    template<typename line_maker>
    void append(const line_maker& make_line) noexcept;

    line_writer write_;
};

} // namespace elvantris::operator_control
