#include "discovery_flood.hpp"

#include <algorithm>
#include <string>

namespace elvantris::simulator {

namespace {

using std::chrono::milliseconds;

constexpr std::uint32_t first_address = 0x0A4D0064; // 10.77.0.100
// A sender that was held up does not make up for more than this.
constexpr std::int64_t largest_burst = 2'000;

// An address that this host lacks has no socket.
socket_handle bind_source(std::uint32_t address) try {
    return bind_udp(address_text(address), 0);
} catch (const port_error&) {
    return {};
}

// The system would choose only one of the host's addresses by itself.
std::vector<socket_handle> bind_sources(const std::optional<flood_switches>& flood) {
    std::vector<socket_handle> result;
    const std::int64_t count = flood && flood->addresses > 1 ? flood->addresses : 0;
    for (std::int64_t i = 0; i < count; ++i)
        result.push_back(bind_source(first_address + static_cast<std::uint32_t>(i)));
    return result;
}

} // namespace

void discovery_flood::aim(const std::optional<flood_switches>& wanted, const endpoint& asker,
                          time_point now) {
    asker_ = asker;
    if (wanted == flood_) return;
    sources_ = bind_sources(wanted);
    flood_ = wanted;
    begin_ = now;
    sent_ = 0;
}

bool discovery_flood::is_running(time_point now) const {
    return flood_ && now < begin_ + milliseconds(flood_->for_ms);
}

void discovery_flood::send_due(native_socket socket, std::uint16_t web_port, time_point now) {
    if (!is_running(now)) return;
    const std::chrono::duration<double> elapsed = now - begin_;
    const auto due =
        static_cast<std::int64_t>(elapsed.count() * static_cast<double>(flood_->per_second));
    const std::string name =
        flood_->name_control_bytes > 0
            ? std::string(static_cast<std::size_t>(flood_->name_control_bytes), '\x01')
            : "Flood";
    const std::string head =
        "elvantris-server!," + std::to_string(web_port) + "," + name + ",FLOOD-";
    for (sent_ = std::max(sent_, due - largest_burst); sent_ < due; ++sent_) {
        const auto number = static_cast<std::size_t>(sent_);
        send_datagram(sources_.empty() ? socket : sources_[number % sources_.size()].get(), asker_,
                      head + std::to_string(sent_ % flood_->serials + 1));
    }
}

} // namespace elvantris::simulator
