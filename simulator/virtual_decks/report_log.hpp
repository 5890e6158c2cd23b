// What has crossed the bus, the newest part of it.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <deque>
#include <string>

namespace elvantris::simulator {

struct bus_event {
    std::int64_t time_microseconds = 0; // wall clock
    std::string path;
    std::string act;    // "open", "close", "write", "feature", "input"
    std::string result; // "ok", or what was wrong
    std::string bytes;
};

// Not for several threads at once. Limits: 4,000 events and 8 MiB of bytes; the oldest go first.
class report_log {
public:
    void add(bus_event event);
    void clear();

    // Those of one deck, or of all if the path is empty: {"timeUs","path","act","result","size",
    // "bytes" in hexadecimal}.
    nlohmann::ordered_json to_json(const std::string& path) const;

private:
    std::deque<bus_event> events_;
    std::size_t bytes_ = 0;
};

} // namespace elvantris::simulator
