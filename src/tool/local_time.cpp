#include "tool/local_time.hpp"

#include <array>
#include <cstdio>
#include <ctime>
#include <iomanip>
#include <sstream>

namespace elvantris::operator_control {
namespace {

constexpr std::int64_t second_ms = 1000;
constexpr std::int64_t minute_ms = 60 * second_ms;
constexpr std::int64_t hour_ms = 60 * minute_ms;
constexpr std::int64_t day_ms = 24 * hour_ms;

// Whole seconds, rounded down also before 1970.
std::int64_t seconds_of(std::int64_t time) {
    return time / second_ms - (time % second_ms < 0 ? 1 : 0);
}

std::optional<std::tm> calendar_of(std::int64_t time) {
    const auto seconds = static_cast<std::time_t>(seconds_of(time));
    const std::tm* const found = std::localtime(&seconds);
    return found == nullptr ? std::nullopt : std::optional(*found);
}

std::string written(std::int64_t time, const char* format) {
    const std::optional<std::tm> calendar = calendar_of(time);
    std::array<char, 64> text{};
    if (!calendar || std::strftime(text.data(), text.size(), format, &*calendar) == 0) return "?";
    return text.data();
}

std::optional<std::int64_t> time_of(std::tm calendar) {
    calendar.tm_isdst = -1; // the system knows
    const std::time_t seconds = std::mktime(&calendar);
    if (seconds == static_cast<std::time_t>(-1)) return std::nullopt;
    return static_cast<std::int64_t>(seconds) * second_ms;
}

// What a text may look like, and for how long it holds.
struct time_format {
    const char* format;
    std::string_view separators; // which the library doesn't insist on
    std::int64_t length;
    bool has_date;
};
constexpr std::array formats{
    time_format{"%H:%M", ":", minute_ms, false},
    time_format{"%H:%M:%S", "::", second_ms, false},
    time_format{"%Y-%m-%d", "--", day_ms, true},
    time_format{"%Y-%m-%d %H:%M", "-- :", minute_ms, true},
    time_format{"%Y-%m-%d %H:%M:%S", "-- ::", second_ms, true},
    time_format{"%Y-%m-%dT%H:%M", "--T:", minute_ms, true},
    time_format{"%Y-%m-%dT%H:%M:%S", "--T::", second_ms, true},
};

std::string without_digits(std::string text) {
    std::erase_if(text, [](char byte) { return byte >= '0' && byte <= '9'; });
    return text;
}

std::optional<std::tm> read_as(const time_format& form, const std::string& text) {
    if (without_digits(text) != form.separators) return std::nullopt;
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    std::tm read{};
    stream >> std::get_time(&read, form.format);
    if (stream.fail() || stream.peek() != std::istringstream::traits_type::eof())
        return std::nullopt;
    return read;
}

std::optional<time_span> span_of(std::tm calendar, std::int64_t length) {
    const std::optional<std::int64_t> first = time_of(calendar);
    if (!first) return std::nullopt;
    if (length < day_ms) return time_span{.first = *first, .last = *first + length - 1};
    // A day may have 23 or 25 hours.
    ++calendar.tm_mday;
    const std::optional<std::int64_t> next = time_of(calendar);
    if (!next) return std::nullopt;
    return time_span{.first = *first, .last = *next - 1};
}

// A clock time on the day of `time`, or so many days later.
std::optional<time_span> clock_on_day(std::tm clock, std::int64_t length, std::int64_t time,
                                      int days_later) {
    const std::optional<std::tm> day = calendar_of(time);
    if (!day) return std::nullopt;
    clock.tm_year = day->tm_year;
    clock.tm_mon = day->tm_mon;
    clock.tm_mday = day->tm_mday + days_later;
    return span_of(clock, length);
}

std::optional<time_span> last_such_clock(std::tm clock, std::int64_t length, std::int64_t now) {
    const std::optional<time_span> today = clock_on_day(clock, length, now, 0);
    return !today || today->first <= now ? today : clock_on_day(clock, length, now, -1);
}

std::optional<time_span> first_such_clock(std::tm clock, std::int64_t length, std::int64_t since) {
    const std::optional<time_span> today = clock_on_day(clock, length, since, 0);
    return !today || today->last >= since ? today : clock_on_day(clock, length, since, 1);
}

using clock_reader = std::optional<time_span> (*)(std::tm clock, std::int64_t length,
                                                  std::int64_t bound);

std::optional<time_span> read_with(clock_reader read_clock, std::string_view text,
                                   std::int64_t bound) {
    for (const time_format& form : formats) {
        const std::optional<std::tm> read = read_as(form, std::string(text));
        if (!read) continue;
        return form.has_date ? span_of(*read, form.length) : read_clock(*read, form.length, bound);
    }
    return std::nullopt;
}

std::string two_units(std::int64_t length_ms, std::int64_t large, const char* large_name,
                      std::int64_t small, const char* small_name) {
    const std::int64_t rest = length_ms % large / small;
    std::string text = std::to_string(length_ms / large) + ' ' + large_name;
    if (rest > 0) text += ' ' + std::to_string(rest) + ' ' + small_name;
    return text;
}

} // namespace

std::string local_date(std::int64_t time) {
    return written(time, "%Y-%m-%d");
}

std::string local_clock(std::int64_t time) {
    return written(time, "%H:%M:%S");
}

std::string local_moment(std::int64_t time) {
    const std::int64_t rest = time - seconds_of(time) * second_ms;
    const std::string digits = std::to_string(second_ms + rest).substr(1);
    return written(time, "%Y-%m-%d %H:%M:%S") + '.' + digits;
}

std::optional<time_span> read_local_time(std::string_view text, std::int64_t now) {
    return read_with(last_such_clock, text, now);
}

std::optional<time_span> read_local_time_after(std::string_view text, std::int64_t since) {
    return read_with(first_such_clock, text, since);
}

std::string duration_text(std::int64_t length_ms) {
    if (length_ms < second_ms) return std::to_string(length_ms) + " ms";
    if (length_ms < minute_ms) return std::to_string(length_ms / second_ms) + " s";
    if (length_ms < hour_ms) return two_units(length_ms, minute_ms, "min", second_ms, "s");
    if (length_ms < day_ms) return two_units(length_ms, hour_ms, "h", minute_ms, "min");
    return two_units(length_ms, day_ms, "d", hour_ms, "h");
}

} // namespace elvantris::operator_control
