#include "tool/asked_times.hpp"

#include <limits>
#include <optional>

namespace elvantris::operator_control {
namespace {

using all_times = std::numeric_limits<std::int64_t>;

} // namespace

std::string unknown_time(std::string_view text) {
    return std::string("\"").append(text) +
           "\" is no time. Write 20:14, 20:14:03, 2026-03-01 or \"2026-03-01 20:14\".";
}

std::variant<time_span, std::string> read_asked_times(const std::string& since,
                                                      const std::string& until, std::int64_t now) {
    time_span asked{.first = all_times::min(), .last = all_times::max()};
    if (!since.empty()) {
        const std::optional<time_span> read = read_local_time(since, now);
        if (!read) return unknown_time(since);
        asked.first = read->first;
    }
    if (!until.empty()) {
        const std::optional<time_span> read =
            since.empty() ? read_local_time(until, now) : read_local_time_after(until, asked.first);
        if (!read) return unknown_time(until);
        asked.last = read->last;
    }
    if (asked.last < asked.first) return "--until " + until + " is before --since " + since + '.';
    return asked;
}

} // namespace elvantris::operator_control
