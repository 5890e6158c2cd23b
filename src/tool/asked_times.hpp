// The times that are asked for on the command line. Pure, but for the system's calendar.
#pragma once

#include "tool/local_time.hpp"

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

namespace elvantris::operator_control {

// What is said of a text that is no time.
std::string unknown_time(std::string_view text);

// From the beginning of `since` to the end of `until`; an empty text sets no bound. A clock time
// alone is the last one, but behind a `since` the first one after that. Otherwise the sentence that
// says what is wrong.
std::variant<time_span, std::string> read_asked_times(const std::string& since,
                                                      const std::string& until, std::int64_t now);

} // namespace elvantris::operator_control
