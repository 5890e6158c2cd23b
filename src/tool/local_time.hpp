// Times as the operator's clock shows them, from and to milliseconds since 1970-01-01 UTC.
//
// Threads: one. Failure: an empty value; a time that the system can't put into a calendar has "?".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace elvantris::operator_control {

std::string local_date(std::int64_t time);   // 2026-03-01
std::string local_clock(std::int64_t time);  // 20:14:03
std::string local_moment(std::int64_t time); // 2026-03-01 20:14:03.129+01:00

// Reads "20:14", "20:14:03", "2026-03-01", "2026-03-01 20:14", the same with seconds, and with a T
// in place of the blank. An hour that comes twice, when summer time ends, counts both times; a day
// that doesn't exist is no time. A clock time alone is the last one that is not in the future of
// `now`.
struct time_span {
    std::int64_t first = 0; // a minute, a second or a day, as the text says
    std::int64_t last = 0;
};
std::optional<time_span> read_local_time(std::string_view text, std::int64_t now);
// The same, but a clock time alone is the first one that is not over at `since`.
std::optional<time_span> read_local_time_after(std::string_view text, std::int64_t since);

// "129 ms", "7 s", "2 min 7 s", "1 h 3 min", "2 d 3 h".
std::string duration_text(std::int64_t length_ms);

} // namespace elvantris::operator_control
