#include "tool/log_facts.hpp"

#include "os/file_pieces.hpp"
#include "tool/alert_history.hpp"

#include <algorithm>

namespace elvantris::operator_control {
namespace {

constexpr std::size_t log_piece = 262'144;
constexpr std::uint64_t most_bytes_for_a_version = 67'108'864;
constexpr std::int64_t shortest_span_ms = 3'600'000;
constexpr std::int64_t one_day_ms = 86'400'000;
constexpr std::string_view banner = "Elvantris Redundancy Control ";

std::string read_piece(const file_pieces& file, std::uint64_t place, std::size_t length) {
    std::string piece(length, '\0');
    piece.resize(file.read_at(place, piece).value_or(0));
    return piece;
}

// The times of the first and the last line that has one. Cut lines have none.
struct line_times {
    std::optional<std::int64_t> first;
    std::optional<std::int64_t> last;
};
line_times times_in(std::string_view text) {
    line_times times;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        if (const auto time = time_of_alert_line(text.substr(0, end))) {
            if (!times.first) times.first = time;
            times.last = time;
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return times;
}

bool is_version(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789.") == std::string_view::npos;
}

} // namespace

std::optional<std::uint64_t> growth_of(std::uint64_t bytes, std::int64_t first, std::int64_t last) {
    if (last < first || last - first < shortest_span_ms) return std::nullopt;
    const double days = static_cast<double>(last - first) / static_cast<double>(one_day_ms);
    return static_cast<std::uint64_t>(static_cast<double>(bytes) / days);
}

std::optional<std::string> last_version_in(std::string_view text) {
    std::size_t before = text.size();
    while (true) {
        const std::size_t at = text.substr(0, before).rfind(banner);
        if (at == std::string_view::npos) return std::nullopt;
        const std::string_view rest = text.substr(at + banner.size());
        const std::string_view version = rest.substr(0, rest.find_first_of("\r\n"));
        // A line that was cut at the end of the piece is found in the next one.
        const bool whole = version.size() < rest.size();
        if (whole && is_version(version) && (at == 0 || text[at - 1] == '\n'))
            return std::string(version);
        before = at;
    }
}

log_facts measure_log(const std::string& path) {
    file_pieces file;
    return {.path = path, .bytes = file.open(path) ? 0 : file.size()};
}

log_facts measure_alert_log(const std::string& path) {
    log_facts facts{.path = path};
    file_pieces file;
    if (file.open(path)) return facts;
    facts.bytes = file.size();
    const auto first = times_in(read_piece(file, 0, log_piece)).first;
    facts.newest =
        times_in(read_piece(file, facts.bytes - std::min<std::uint64_t>(facts.bytes, log_piece),
                            log_piece))
            .last;
    if (first && facts.newest) facts.per_day = growth_of(facts.bytes, *first, *facts.newest);
    return facts;
}

std::optional<std::string> last_started_version(const std::string& log_path) {
    file_pieces file;
    if (file.open(log_path)) return std::nullopt;
    // The pieces overlap by more than the line is long.
    constexpr std::size_t overlap = 256;
    std::uint64_t end = file.size();
    const std::uint64_t lowest = end - std::min(end, most_bytes_for_a_version);
    while (end > lowest) {
        const std::uint64_t begin = end - std::min<std::uint64_t>(end - lowest, log_piece);
        if (auto version = last_version_in(
                read_piece(file, begin, static_cast<std::size_t>(end - begin) + overlap)))
            return version;
        end = begin;
    }
    return std::nullopt;
}

} // namespace elvantris::operator_control
