// This computer's IPv4 addresses.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

namespace elvantris::rehearsal {

// Asks the system once a second at most: with many adapters that takes milliseconds.
//
// Threads: any.
class own_addresses {
public:
    // An address in host byte order.
    bool contains(std::uint32_t address);

private:
    std::mutex mutex_; // guards everything below
    std::vector<std::uint32_t> addresses_;
    std::optional<std::chrono::steady_clock::time_point> asked_;
};

} // namespace elvantris::rehearsal
