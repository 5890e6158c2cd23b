#include "protection/alert_log.hpp"

#include "json/escape.hpp"
#include "os/files.hpp"

namespace elvantris::operator_control {
namespace {

std::string line_start(std::int64_t time_ms, std::string_view event) {
    return "{\"time\":" + std::to_string(time_ms) + ",\"event\":\"" + std::string(event) + '"';
}

std::string text_field(std::string_view name, std::string_view value) {
    return ",\"" + std::string(name) + "\":\"" + json_escape(value) + '"';
}

} // namespace

void alert_log::fault(std::int64_t time_ms, std::string_view key, std::string_view message) const {
    append_to_file(path_, line_start(time_ms, "fault") + text_field("key", key) +
                              text_field("message", message) + "}\n");
}

void alert_log::recovered(std::int64_t time_ms, std::string_view key) const {
    append_to_file(path_, line_start(time_ms, "recovered") + text_field("key", key) + "}\n");
}

void alert_log::action(std::int64_t time_ms, std::string_view message) const {
    append_to_file(path_, line_start(time_ms, "action") + text_field("message", message) + "}\n");
}

} // namespace elvantris::operator_control
