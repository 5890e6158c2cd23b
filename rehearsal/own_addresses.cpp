#include "rehearsal/own_addresses.hpp"

#include "os/network_interfaces.hpp"

#include <algorithm>

namespace elvantris::rehearsal {

namespace {

constexpr std::chrono::seconds longest_kept{1};

std::vector<std::uint32_t> ask_system() {
    std::vector<std::uint32_t> result;
    const auto all = operator_control::list_interface_addresses();
    if (!all) return result;
    for (const operator_control::interface_address& each : *all)
        result.push_back(each.address);
    return result;
}

} // namespace

bool own_addresses::contains(std::uint32_t address) {
    const auto now = std::chrono::steady_clock::now();
    const std::lock_guard lock(mutex_);
    if (!asked_ || now - *asked_ > longest_kept) {
        addresses_ = ask_system();
        asked_ = now;
    }
    return std::ranges::find(addresses_, address) != addresses_.end();
}

} // namespace elvantris::rehearsal
