// The lasting history of alerts and outbound steps: one JSON object a line, appended for ever.
//
// Threads: the caller's lock keeps lines of different threads apart.
// Failure: ignored. A full disk costs only history, and nobody waits for it. A line that can't be
//   written whole, or not be made for want of memory, is left out.
#pragma once

#include "os/files.hpp"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace elvantris::operator_control {

class alert_log {
public:
    explicit alert_log(std::string path) : path_(std::move(path)) {}

    void fault(std::int64_t time_ms, std::string_view key, std::string_view message) noexcept;
    void recovered(std::int64_t time_ms, std::string_view key) noexcept;
    void action(std::int64_t time_ms, std::string_view message) noexcept;

private:
    template<typename line_maker>
    void append(const line_maker& make_line) noexcept;

    std::string path_;
    append_file file_; // open for the length of a line
};

} // namespace elvantris::operator_control
