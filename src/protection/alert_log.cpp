#include "protection/alert_log.hpp"

#include "json/object_writer.hpp"
#include "os/file_pieces.hpp"
#include "os/files.hpp"

#include <exception>
#include <memory>

namespace elvantris::operator_control {
namespace {

json_object_writer line(std::int64_t time_ms, std::string_view event) {
    return json_object_writer().number("time", time_ms).text("event", event);
}

bool ends_within_a_line(const std::string& path) {
    file_pieces file;
    if (file.open(path) || file.size() == 0) return false;
    char last = '\n';
    return file.read_at(file.size() - 1, {&last, 1}) == 1 && last != '\n';
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
    // Kept from one write to the next.
    struct memory {
        append_file file;
        bool begun = false;
    };
    const auto kept = std::make_shared<memory>();
    return [kept, path](std::string_view lines) {
        // A loss of power in an earlier run may have torn the last line.
        const bool follows_a_torn_line = !kept->begun && ends_within_a_line(path);
        if (kept->file.open(path) && (!follows_a_torn_line || kept->file.write("\n"))) {
            kept->begun = true;
            kept->file.write(lines);
        }
        kept->file.close();
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
