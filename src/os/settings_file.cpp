#include "os/settings_file.hpp"

#include "os/file_paths.hpp"
#include "os/files.hpp"
#include "os/standard_streams.hpp"

#include <exception>
#include <optional>
#include <thread>
#include <utility>

namespace elvantris::operator_control {
namespace {

constexpr milliseconds pause_between_tries{50};

std::optional<std::string> read_once(const std::string& path, read_failure& failure) {
    try {
        return read_whole_file(path, largest_settings_file, &failure);
    } catch (const std::exception&) {
        failure = read_failure::unreadable; // out of memory
        return std::nullopt;
    }
}

// At logon a virus scanner or a backup may hold the file; descriptors may be short for a moment.
std::optional<std::string> read_patiently(const std::string& path, const call_limits& limits,
                                          read_failure& failure) {
    while (true) {
        std::optional<std::string> text = read_once(path, failure);
        if (text || failure == read_failure::missing || limits.over()) return text;
        std::this_thread::sleep_for(pause_between_tries);
    }
}

} // namespace

settings_file::settings_file(std::string path, const settings_file_rules& rules)
    : path_(std::move(path)), temporary_path_(path_ + ".tmp"), rules_(rules) {}

void settings_file::load(const std::function<void(const std::string& text)>& take,
                         const call_limits& limits) noexcept {
    read_failure failure = read_failure::missing;
    const std::optional<std::string> text = read_patiently(path_, limits, failure);
    if (!text && failure == read_failure::missing) return;
    if (!text) {
        unread_ = true;
        if (limits.is_given_up()) return;
        report(failure == read_failure::too_large ? trouble::too_large : trouble::unreadable);
        return;
    }
    unread_ = !rules_.is_whole(*text);
    if (unread_) report(trouble::damaged);
    try {
        take(*text);
    } catch (const std::exception&) {
        if (!unread_) report(trouble::unreadable);
        unread_ = true;
    }
}

bool settings_file::save(const std::function<std::string()>& write) noexcept {
    try {
        const std::string text = write();
        return text.size() <= largest_settings_file && replace_by(text);
    } catch (const std::exception&) {
        return false;
    }
}

bool settings_file::replace_by(const std::string& text) {
    if (const std::string folder = parent_folder(path_); !folder.empty()) create_folders(folder);
    const write_outcome outcome = write_whole_file(temporary_path_, text);
    if (outcome == write_outcome::not_opened) return false;
    // The old file is renamed last, so a full disk changes nothing.
    if (outcome == write_outcome::written && put_aside() && replace_file(temporary_path_, path_))
        return true;
    if (rules_.after_failure == failed_save::removes_temporary_file) remove_file(temporary_path_);
    return false;
}

bool settings_file::put_aside() {
    if (!unread_) return true;
    // Only the names that are needed are moved. If a move fails, the next save tries again.
    if (path_exists(kept_name(1))) {
        if (path_exists(kept_name(2)) && !replace_file(kept_name(2), kept_name(3))) return false;
        if (!replace_file(kept_name(1), kept_name(2))) return false;
    }
    unread_ = !keep_file_as(path_, kept_name(1));
    return !unread_;
}

void settings_file::report(trouble cause) const noexcept {
    const auto what_happened = [cause] {
        switch (cause) {
        case trouble::unreadable:
            return " could not be read";
        case trouble::too_large:
            return " is too large to be read";
        case trouble::damaged:
            break;
        }
        return " is damaged";
    };
    try {
        std::string line = "[settings] " + path_ + what_happened();
        line += "; defaults take the place of what is missing, and ";
        line += rules_.possible_loss;
        line += ". It is kept as " + kept_name(1) + " before anything is saved over it.";
        write_error_line(line);
    } catch (const std::exception&) {
        // Out of memory: the line is lost, the file isn't.
    }
}

std::string settings_file::kept_name(int age) const {
    return path_ + ".unreadable-" + std::to_string(age);
}

} // namespace elvantris::operator_control
