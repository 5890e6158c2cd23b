#include "protection/alert_log.hpp"

#include "json/object_writer.hpp"
#include "os/files.hpp"

#include <exception>
#include <memory>

namespace elvantris::operator_control {
namespace {

json_object_writer line(std::int64_t time_ms, std::string_view event) {
    return json_object_writer().number("time", time_ms).text("event", event);
}

} // namespace

// The maker is a type of its own: a std::function may want memory before anything can be caught.
template<typename line_maker>
void alert_log::append(const line_maker& make_line) noexcept {
    try {
        gathered_ += make_line() + '\n';
    } catch (const std::exception&) {
        // The act that the line was to record counts, not the line.
    }
    if (!in_batch_) write_out();
}

line_writer append_to(const std::string& path) {
    // It remembers from one write to the next whether a torn line was left.
    const auto file = std::make_shared<append_file>();
    return [file, path](std::string_view lines) {
        if (file->open(path)) file->write(lines);
        file->close();
    };
}

void alert_log::fault(std::int64_t time_ms, std::string_view key,
                      std::string_view message) noexcept {
    append(
        [&] { return line(time_ms, "fault").text("key", key).text("message", message).written(); });
}

void alert_log::recovered(std::int64_t time_ms, std::string_view key) noexcept {
    append([&] { return line(time_ms, "recovered").text("key", key).written(); });
}

void alert_log::action(std::int64_t time_ms, std::string_view message) noexcept {
    append([&] { return line(time_ms, "action").text("message", message).written(); });
}

void alert_log::write_out() noexcept {
    if (gathered_.empty()) return;
    try {
        write_(gathered_);
    } catch (const std::exception&) {
        // Nor do many lines.
    }
    gathered_.clear();
}

} // namespace elvantris::operator_control
