#include "report_log.hpp"

#include "text.hpp"

#include <nlohmann/json.hpp>

#include <utility>

namespace elvantris::simulator {

namespace {

constexpr std::size_t most_events = 4'000;
constexpr std::size_t most_bytes = 8'388'608;

} // namespace

void report_log::add(bus_event event) {
    bytes_ += event.bytes.size();
    events_.push_back(std::move(event));
    while (events_.size() > most_events || bytes_ > most_bytes) {
        bytes_ -= events_.front().bytes.size();
        events_.pop_front();
    }
}

void report_log::clear() {
    events_.clear();
    bytes_ = 0;
}

nlohmann::ordered_json report_log::to_json(const std::string& path) const {
    auto result = nlohmann::ordered_json::array();
    for (const bus_event& each : events_) {
        if (!path.empty() && each.path != path) continue;
        result.push_back({{"timeUs", each.time_microseconds},
                          {"path", each.path},
                          {"act", each.act},
                          {"result", each.result},
                          {"size", each.bytes.size()},
                          {"bytes", to_hex(each.bytes)}});
    }
    return result;
}

} // namespace elvantris::simulator
