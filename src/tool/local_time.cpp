#include "tool/local_time.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
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
    const std::time_t seconds = std::mktime(&calendar);
    if (seconds == static_cast<std::time_t>(-1)) return std::nullopt;
    return static_cast<std::int64_t>(seconds) * second_ms;
}

bool is_same_day(const std::tm& one, const std::tm& other) {
    return one.tm_year == other.tm_year && one.tm_mon == other.tm_mon &&
           one.tm_mday == other.tm_mday;
}

bool is_same_clock(const std::tm& one, const std::tm& other) {
    return one.tm_hour == other.tm_hour && one.tm_min == other.tm_min && one.tm_sec == other.tm_sec;
}

// The first and the last moment at which this computer's clock shows this time. They differ in the
// hour that comes twice when summer time ends. For a time in the hour that is left out in spring
// the system chooses a moment.
std::optional<time_span> moments_of(const std::tm& calendar) {
    std::optional<time_span> found;
    for (const int summer_time : {1, 0}) {
        std::tm asked = calendar;
        asked.tm_isdst = summer_time;
        const std::optional<std::int64_t> time = time_of(asked);
        const std::optional<std::tm> shown = time ? calendar_of(*time) : std::nullopt;
        if (!shown || !is_same_day(*shown, calendar) || !is_same_clock(*shown, calendar)) continue;
        if (!found) found = time_span{.first = *time, .last = *time};
        found->first = std::min(found->first, *time);
        found->last = std::max(found->last, *time);
    }
    if (found) return found;
    std::tm asked = calendar;
    asked.tm_isdst = -1;
    const std::optional<std::int64_t> time = time_of(asked);
    const std::optional<std::tm> shown = time ? calendar_of(*time) : std::nullopt;
    // The 30th of February is no day.
    if (!shown || !is_same_day(*shown, calendar)) return std::nullopt;
    return time_span{.first = *time, .last = *time};
}

// The same time of day on another day. Midday is safe from all changes of the clock.
std::tm later_day(std::tm calendar, int days) {
    constexpr int midday = 12;
    std::tm moved = calendar;
    moved.tm_mday += days;
    moved.tm_hour = midday;
    moved.tm_isdst = -1;
    std::mktime(&moved);
    calendar.tm_year = moved.tm_year;
    calendar.tm_mon = moved.tm_mon;
    calendar.tm_mday = moved.tm_mday;
    return calendar;
}

// What a text may look like, and for how long it holds.
struct time_format {
    const char* format;
    std::string_view separators; // the library accepts others, so they are checked
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

std::optional<time_span> span_of(const std::tm& calendar, std::int64_t length) {
    std::optional<time_span> span = moments_of(calendar);
    if (!span) return std::nullopt;
    if (length < day_ms) {
        span->last += length - 1;
        return span;
    }
    // A day may have 23 or 25 hours.
    const std::optional<time_span> next = moments_of(later_day(calendar, 1));
    if (!next) return std::nullopt;
    return time_span{.first = span->first, .last = next->first - 1};
}

// A clock time on the day of `time`, or so many days later.
std::optional<time_span> clock_on_day(std::tm clock, std::int64_t length, std::int64_t time,
                                      int days_later) {
    const std::optional<std::tm> day = calendar_of(time);
    if (!day) return std::nullopt;
    clock.tm_year = day->tm_year;
    clock.tm_mon = day->tm_mon;
    clock.tm_mday = day->tm_mday;
    return span_of(later_day(clock, days_later), length);
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

// "+01:00": how far this computer's clock is ahead of UTC then.
std::string offset_at(std::int64_t time) {
    const std::optional<std::tm> calendar = calendar_of(time);
    if (!calendar) return "";
    using namespace std::chrono;
    const sys_days day{year(calendar->tm_year + 1900) /
                       month(static_cast<unsigned>(calendar->tm_mon + 1)) /
                       std::chrono::day(static_cast<unsigned>(calendar->tm_mday))};
    const auto shown = day.time_since_epoch() + hours(calendar->tm_hour) +
                       minutes(calendar->tm_min) + seconds(calendar->tm_sec);
    const auto ahead = duration_cast<minutes>(shown - seconds(seconds_of(time))).count();
    const auto two_digits = [](std::int64_t number) {
        return std::to_string(100 + std::abs(number)).substr(1);
    };
    return (ahead < 0 ? '-' : '+') + two_digits(ahead / 60) + ':' + two_digits(ahead % 60);
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
    return written(time, "%Y-%m-%d %H:%M:%S") + '.' + digits + offset_at(time);
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
