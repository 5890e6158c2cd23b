#include "protection/alert_log.hpp"

#include "json/object_writer.hpp"
#include "os/files.hpp"

namespace elvantris::operator_control {
namespace {

json_object line(std::int64_t time_ms, std::string_view event) {
    return json_object().number("time", time_ms).text("event", event);
}

} // namespace

void alert_log::fault(std::int64_t time_ms, std::string_view key, std::string_view message) const {
    append(line(time_ms, "fault").text("key", key).text("message", message));
}

void alert_log::recovered(std::int64_t time_ms, std::string_view key) const {
    append(line(time_ms, "recovered").text("key", key));
}

void alert_log::action(std::int64_t time_ms, std::string_view message) const {
    append(line(time_ms, "action").text("message", message));
}

void alert_log::append(const json_object& line) const {
    append_to_file(path_, line.written() + '\n');
}

} // namespace elvantris::operator_control
