// A small file of settings: read with retries, replaced in one step, and never overwritten while it
// holds something that has not been read.
//
// A file that exists and can't be read, or isn't whole, is reported once on standard error. The
// next save keeps it as `<path>.unreadable-1` before it replaces it; older ones become -2 and -3.
// As long as the file can't be kept, every save fails.
//
// Threads: one at a time.
// Failure: values. Nothing is thrown, and a callback that throws is a load or a save that failed.
#pragma once

#include "os/call_limits.hpp"
#include "os/clock.hpp"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace elvantris::operator_control {

// A larger file is neither read nor written.
inline constexpr std::size_t largest_settings_file = 67'108'864;

enum class failed_save { leaves_temporary_file, removes_temporary_file };

struct settings_file_rules {
    bool (*is_whole)(std::string_view text);
    std::string_view possible_loss; // "the pairing may be lost"
    failed_save after_failure;
};

class settings_file {
public:
    static constexpr milliseconds longest_load{2000};

    settings_file(std::string path, const settings_file_rules& rules);

    const std::string& path() const { return path_; }

    // Gives the text to `take`; a damaged one too, for what can still be read in it. `take` isn't
    // called for a missing file, nor for one that can't be read within the limits. The limits are
    // checked between two tries. A call that is given up makes no further try and no line about it:
    // the caller ends, and saves nothing.
    void load(const std::function<void(const std::string& text)>& take,
              const call_limits& limits) noexcept;

    // Replaces the file by the text that `write` gives. True only when that is on the disk; after
    // a failure the old file is whole under its name or kept under the other.
    bool save(const std::function<std::string()>& write) noexcept;

private:
    enum class trouble { unreadable, too_large, damaged };

    bool replace_by(const std::string& text);
    bool put_aside();
    void report(trouble cause) const noexcept;
    std::string kept_name(int age) const;

    std::string path_;
    std::string temporary_path_;
    settings_file_rules rules_;
    bool unread_ = false; // what is under the name must be kept before it is replaced
};

} // namespace elvantris::operator_control
