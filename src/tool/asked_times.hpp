// The times that are asked for on the command line. Pure, but for the system's calendar.
#pragma once

#include "tool/local_time.hpp"

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

namespace elvantris::operator_control {

// The sentence for a text that is not a time.
std::string unknown_time(std::string_view text);

// From the beginning of `since` to the end of `until`; an empty text sets no bound. A clock time
// alone means the last time the clock showed it; as `until` with a `since`, the first time after
// `since`. If a text is wrong, the sentence that says what is wrong.
std::variant<time_span, std::string> read_asked_times(const std::string& since,
                                                      const std::string& until, std::int64_t now);

} // namespace elvantris::operator_control
