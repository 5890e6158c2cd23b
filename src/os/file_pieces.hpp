// A file that may be too large to be held whole, read piece by piece. Others may write, truncate
// or move it meanwhile: what is read is what was there at that moment.
//
// Threads: one at a time. Failure: a value; nothing is thrown or logged.
#pragma once

#include "os/files.hpp"

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace elvantris::operator_control {

class file_pieces {
public:
    file_pieces() = default;
    ~file_pieces();
    file_pieces(const file_pieces&) = delete;
    file_pieces& operator=(const file_pieces&) = delete;
    file_pieces(file_pieces&&) = delete;
    file_pieces& operator=(file_pieces&&) = delete;

    // Why it can't be opened; absent if it is open. Only a plain file can be.
    std::optional<read_failure> open(const std::string& path);

    // Of this moment; 0 if the system won't say.
    std::uint64_t size() const;

    // The number of bytes read from that place on: fewer than the buffer holds only at the end, or
    // where nothing more can be read. Absent if nothing could be read and it isn't the end.
    std::optional<std::size_t> read_at(std::uint64_t place, std::span<char> buffer) const;

private:
    std::intptr_t handle_ = -1;
};

} // namespace elvantris::operator_control
