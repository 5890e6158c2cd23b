// The lasting history of alerts and outbound steps: one JSON object a line. The file only grows.
//
// Threads: the caller's lock keeps lines of different threads apart.
// Failure: ignored. A full disk costs only history, and nobody waits for it. A line is left
//   out if it can't be written completely, or if there is no memory to build it. A batch is written
//   completely or not at all.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace elvantris::operator_control {

// Takes one or more whole lines with their ends.
using line_writer = std::function<void(std::string_view lines)>;

// The file is open for the length of a write. The first one ends a line that an earlier run has
// left without its end, so that no line is joined to it.
line_writer append_to(const std::string& path);

class alert_log {
public:
    explicit alert_log(const std::string& path) : alert_log(append_to(path)) {}
    explicit alert_log(line_writer write) : write_(std::move(write)) {}

    void fault(std::int64_t time_ms, std::string_view key, std::string_view message) noexcept;
    void recovered(std::int64_t time_ms, std::string_view key) noexcept;
    void action(std::int64_t time_ms, std::string_view message) noexcept;

    // While it lives, lines are gathered; then all of them go to the file at once, in their order.
    // So even hundreds of alerts need only one write for each cycle. One batch at a time.
    class batch {
    public:
        explicit batch(alert_log& log) noexcept : log_(log) { log_.in_batch_ = true; }
        ~batch() {
            log_.in_batch_ = false;
            log_.write_out();
        }
        batch(const batch&) = delete;
        batch& operator=(const batch&) = delete;
        batch(batch&&) = delete;
        batch& operator=(batch&&) = delete;

    private:
        alert_log& log_;
    };

private:
    template<typename line_maker>
    void append(const line_maker& make_line) noexcept;
    void write_out() noexcept;

    line_writer write_;
    std::string gathered_;
    bool in_batch_ = false;
};

} // namespace elvantris::operator_control
