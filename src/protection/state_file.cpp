#include "protection/state_file.hpp"

#include "json/field_scanner.hpp"
#include "json/object_writer.hpp"

#include <algorithm>
#include <utility>

namespace elvantris::operator_control {
namespace {

// The three keys of a hold are written together. A file with only some of them, or with other words
// in them than ours, has lost the rest, and with it perhaps a hold.
bool has_all_of_the_hold_or_nothing(std::string_view text) {
    const std::string_view held =
        text.substr(std::min(json_find_value(text, "heldOnBackup"), text.size()));
    const bool has_flag = held.starts_with(json_bool(true)) || held.starts_with(json_bool(false));
    const bool has_main = json_find_string(text, "pairMain").has_value();
    const bool has_backup = json_find_string(text, "pairBackup").has_value();
    return has_flag == has_main && has_main == has_backup;
}

constexpr settings_file_rules rules{.is_whole = is_whole_protection,
                                    .possible_loss = "a hold on Backup may be lost",
                                    .after_failure = failed_save::leaves_temporary_file};

} // namespace

bool is_whole_protection(std::string_view text) {
    return json_is_whole_object(text) && has_all_of_the_hold_or_nothing(text);
}

std::string write_saved_protection(const saved_protection& saved) {
    return json_object_writer(write_policy(saved.policy))
        .flag("heldOnBackup", saved.heldOnBackup)
        .text("pairMain", saved.pairMain)
        .text("pairBackup", saved.pairBackup)
        .written();
}

bool read_saved_protection(std::string_view text, saved_protection& saved, std::string& error) {
    saved_protection read;
    read.policy = parse_policy(text);
    if (!validate_policy(read.policy, error)) return false;
    read.heldOnBackup = json_read_bool(text, "heldOnBackup", false);
    read.pairMain = json_read_string(text, "pairMain");
    read.pairBackup = json_read_string(text, "pairBackup");
    saved = std::move(read);
    return true;
}

state_file::state_file(std::string path) : file_(std::move(path), rules) {}

void state_file::load(saved_protection& saved, std::string& error,
                      const std::function<bool()>& given_up) noexcept {
    file_.load([&](const std::string& text) { read_saved_protection(text, saved, error); },
               call_limits{.given_up = given_up}.within(settings_file::longest_load));
}

bool state_file::save(const saved_protection& saved) noexcept {
    return file_.save([&saved] { return write_saved_protection(saved); });
}

} // namespace elvantris::operator_control
