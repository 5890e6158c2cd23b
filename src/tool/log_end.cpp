#include "tool/log_end.hpp"

#include "os/file_pieces.hpp"

#include <algorithm>

namespace elvantris::operator_control {

std::variant<log_end, read_failure> read_log_end(const std::string& path, std::size_t most) {
    file_pieces file;
    if (const auto failure = file.open(path)) return *failure;
    const std::uint64_t size = file.size();
    // One byte more tells whether a line begins at the cut.
    const std::uint64_t wanted = std::min<std::uint64_t>(size, std::uint64_t{most} + 1);
    log_end end{.text = std::string(static_cast<std::size_t>(wanted), '\0'),
                .older_left_out = size > most};
    const auto filled = file.read_at(size - wanted, end.text);
    if (!filled) return read_failure::unreadable;
    end.text.resize(*filled);
    if (!end.older_left_out) return end;
    const std::size_t line_end = end.text.find('\n');
    end.text.erase(0, line_end == std::string::npos ? 1 : line_end + 1);
    return end;
}

} // namespace elvantris::operator_control
