// The alert log from the disk, of whatever size, in bounded memory.
#pragma once

#include "os/files.hpp"
#include "tool/alert_history.hpp"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace elvantris::operator_control {

inline constexpr std::int64_t end_of_time = std::numeric_limits<std::int64_t>::max();

// About how many bytes a line needs in memory besides its text.
inline constexpr std::size_t line_cost = 64;

struct alert_log_bounds {
    std::size_t kept_bytes = 16'777'216; // of the newest lines, with what each costs besides
    std::size_t line_bytes = 262'144;    // a longer line is a damaged one
};

struct alert_log_part {
    std::vector<alert_line> lines; // in the order of the log
    std::uint64_t damaged = 0;     // so many lines could not be read
    bool begins_later = false;     // older lines have been left out
};

// Gathers lines from pieces of the file, wherever these are cut. Only the newest up to a moment are
// kept. Pure.
class alert_lines {
public:
    explicit alert_lines(std::int64_t until, const alert_log_bounds& bounds = {})
        : until_(until), bounds_(bounds) {}

    void take(std::string_view bytes);
    // The first line may be incomplete and is ignored.
    void begin_inside() { in_cut_line_ = true; }
    // Also reads a last line that has no end.
    alert_log_part finish();

private:
    void take_part_of_line(std::string_view bytes);
    void end_line();

    std::int64_t until_;
    alert_log_bounds bounds_;
    std::string line_;
    bool in_cut_line_ = false;
    bool too_long_ = false;
    std::deque<std::string> kept_;
    std::size_t kept_bytes_ = 0;
    alert_log_part part_;
};

// The newest lines that are not later than `until`. Without such an end only the last part of a
// large file is read.
std::variant<alert_log_part, read_failure>
read_alert_log(const std::string& path, std::int64_t until, const alert_log_bounds& bounds = {});

} // namespace elvantris::operator_control
