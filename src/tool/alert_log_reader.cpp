#include "tool/alert_log_reader.hpp"

#include "os/file_pieces.hpp"

#include <utility>

namespace elvantris::operator_control {
namespace {

constexpr std::size_t piece_size = 1'048'576;

} // namespace

void alert_lines::take(std::string_view bytes) {
    while (!bytes.empty()) {
        const std::size_t end = bytes.find('\n');
        take_part_of_line(bytes.substr(0, end));
        if (end == std::string_view::npos) return;
        end_line();
        bytes.remove_prefix(end + 1);
    }
}

void alert_lines::take_part_of_line(std::string_view bytes) {
    if (in_cut_line_ || too_long_) return;
    too_long_ = line_.size() + bytes.size() > bounds_.line_bytes;
    if (!too_long_) line_ += bytes;
}

void alert_lines::end_line() {
    std::string line = std::exchange(line_, {});
    if (std::exchange(in_cut_line_, false)) {
        part_.begins_later = true;
        return;
    }
    if (std::exchange(too_long_, false)) {
        ++part_.damaged;
        return;
    }
    // Left by an editor that ends its lines in the other way.
    if (line.ends_with('\r')) line.pop_back();
    if (line.empty() || time_of_alert_line(line).value_or(until_) > until_) return;
    kept_bytes_ += line.size() + line_cost;
    kept_.push_back(std::move(line));
    while (kept_bytes_ > bounds_.kept_bytes) {
        kept_bytes_ -= kept_.front().size() + line_cost;
        kept_.pop_front();
        part_.begins_later = true;
    }
}

alert_log_part alert_lines::finish() {
    end_line();
    for (; !kept_.empty(); kept_.pop_front()) {
        std::optional<alert_line> line = read_alert_line(kept_.front());
        if (!line)
            ++part_.damaged;
        else if (line->time <= until_)
            part_.lines.push_back(std::move(*line));
    }
    kept_bytes_ = 0;
    return std::exchange(part_, {});
}

std::variant<alert_log_part, read_failure>
read_alert_log(const std::string& path, std::int64_t until, const alert_log_bounds& bounds) {
    file_pieces file;
    if (const auto failure = file.open(path)) return *failure;
    alert_lines lines(until, bounds);
    std::uint64_t place = 0;
    if (const std::uint64_t size = file.size(); until == end_of_time && size > bounds.kept_bytes) {
        place = size - bounds.kept_bytes;
        lines.begin_inside();
    }
    std::string buffer(piece_size, '\0');
    while (true) {
        const auto size = file.read_at(place, buffer);
        if (!size) return read_failure::unreadable;
        if (*size == 0) return lines.finish();
        lines.take(std::string_view(buffer).substr(0, *size));
        place += *size;
    }
}

} // namespace elvantris::operator_control
