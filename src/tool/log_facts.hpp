// What the program's logs tell besides their lines: how large they are, how fast they grow, and
// which version began last.
//
// Threads: any. Failure: what can't be read is absent.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace elvantris::operator_control {

struct log_facts {
    std::string path;
    std::uint64_t bytes = 0;                   // 0 also if there is none
    std::optional<std::int64_t> newest = {};   // the time of its last line
    std::optional<std::uint64_t> per_day = {}; // bytes, if its lines tell more than an hour
};

// The log: its lines have no times.
log_facts measure_log(const std::string& path);
// The alert log: every line begins with one.
log_facts measure_alert_log(const std::string& path);

// The version of the program's last start in the newest 64 MB of its log.
std::optional<std::string> last_started_version(const std::string& log_path);

// The last version in a piece of the log. Pure.
std::optional<std::string> last_version_in(std::string_view text);
// Bytes a day of a file of this size whose lines span these times. Pure.
std::optional<std::uint64_t> growth_of(std::uint64_t bytes, std::int64_t first, std::int64_t last);

} // namespace elvantris::operator_control
