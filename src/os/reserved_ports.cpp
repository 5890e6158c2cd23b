#include "os/reserved_ports.hpp"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <system_error>

namespace elvantris::operator_control {
namespace {

// The number at the front, which is taken away with the blanks before it.
std::optional<std::uint16_t> take_port(std::string_view& line) {
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    std::uint16_t port = 0;
    const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), port);
    if (error != std::errc()) return std::nullopt;
    line.remove_prefix(static_cast<std::size_t>(end - line.data()));
    return port;
}

} // namespace

std::vector<port_range> read_reserved_ranges(std::string_view printed) {
    std::vector<port_range> ranges;
    while (!printed.empty()) {
        const std::size_t end = std::min(printed.find('\n'), printed.size());
        std::string_view line = printed.substr(0, end);
        printed.remove_prefix(std::min(end + 1, printed.size()));
        const auto first = take_port(line);
        const auto last = first ? take_port(line) : std::nullopt;
        if (last && *first <= *last) ranges.push_back({.first = *first, .last = *last});
    }
    return ranges;
}

} // namespace elvantris::operator_control
