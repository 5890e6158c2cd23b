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

// A template, because making a std::function may throw before the `try` is reached.
template<typename line_maker>
void alert_log::append(const line_maker& make_line) noexcept {
    try {
        gathered_ += make_line() + '\n';
    } catch (const std::exception&) {
        // What the line reports has happened all the same, so the failure is ignored.
    }
    if (!in_batch_) write_out();
}

line_writer append_to(const std::string& path) {
    // Kept between writes: it remembers whether the file ends with an incomplete line.
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
        // The same for many lines: a failed write costs only history.
    }
    gathered_.clear();
}

} // namespace elvantris::operator_control
