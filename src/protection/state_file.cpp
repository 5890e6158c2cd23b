#include "protection/state_file.hpp"

#include "json/field_scanner.hpp"
#include "json/object_writer.hpp"

#include <utility>

namespace elvantris::operator_control {
namespace {

constexpr settings_file_rules rules{.is_whole = json_is_whole_object,
                                    .possible_loss = "a hold on Backup may be lost",
                                    .after_failure = failed_save::leaves_temporary_file};

} // namespace

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
