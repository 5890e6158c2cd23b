// The one file that lets a hold survive a restart.
#pragma once

#include "os/settings_file.hpp"
#include "protection/policy.hpp"

#include <functional>
#include <string>
#include <string_view>

namespace elvantris::operator_control {

// What must be remembered across a restart.
struct saved_protection {
    protection_policy policy;
    bool heldOnBackup = false; // operation was moved to Backup and not yet returned
    std::string pairMain;      // the serials of the pair for which the hold counts
    std::string pairBackup;
};

// The file's text: one line without a line end. Pure.
std::string write_saved_protection(const saved_protection& saved);

// Whether nothing of the file's text is lost: it is one object, with all of its hold or, as before
// the first save, with none. Pure.
bool is_whole_protection(std::string_view text);

// False if the policy in the text breaks a rule; `error` then names it and `saved` is untouched.
// Pure.
bool read_saved_protection(std::string_view text, saved_protection& saved, std::string& error);

// Each save replaces the file in one step; a failed one may leave a temporary file that the next
// overwrites. A file that can't be read is kept aside, as `settings_file` says.
//
// Threads: one at a time. Failure: values; nothing is thrown.
class state_file {
public:
    explicit state_file(std::string path);

    const std::string& path() const { return file_.path(); }

    // Without a file, or with one that can't be read, `saved` and `error` stay as they are. An
    // invalid policy leaves `saved` too, and `error` says what is wrong. `given_up` stops the
    // retries when the program is to end.
    void load(saved_protection& saved, std::string& error,
              const std::function<bool()>& given_up = {}) noexcept;

    // True only when the new content is on the disk.
    bool save(const saved_protection& saved) noexcept;

private:
    settings_file file_;
};

} // namespace elvantris::operator_control
