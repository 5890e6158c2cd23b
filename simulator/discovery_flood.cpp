#include "discovery_flood.hpp"

#include <arpa/inet.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

namespace elvantris::simulator {

namespace {

using std::chrono::milliseconds;

constexpr std::uint32_t first_address = 0x0A4D0064; // 10.77.0.100
// A sender that was held up does not make up for more than this.
constexpr std::int64_t largest_burst = 2'000;

// One datagram from an address of this host that the system would not have chosen by itself.
void send_from(int socket, std::uint32_t source, const sockaddr_in& to, const std::string& text) {
    iovec content{.iov_base = const_cast<char*>(text.data()), .iov_len = text.size()};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(in_pktinfo))> control{};
    sockaddr_in target = to;
    msghdr message{};
    message.msg_name = &target;
    message.msg_namelen = sizeof target;
    message.msg_iov = &content;
    message.msg_iovlen = 1;
    if (source != 0) {
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        cmsghdr* header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = IPPROTO_IP;
        header->cmsg_type = IP_PKTINFO;
        header->cmsg_len = CMSG_LEN(sizeof(in_pktinfo));
        in_pktinfo info{};
        info.ipi_spec_dst.s_addr = htonl(source);
        std::memcpy(CMSG_DATA(header), &info, sizeof info);
    }
    ::sendmsg(socket, &message, MSG_NOSIGNAL);
}

} // namespace

void discovery_flood::aim(const std::optional<flood_switches>& wanted, const sockaddr_in& asker,
                          time_point now) {
    asker_ = asker;
    if (wanted == flood_) return;
    flood_ = wanted;
    begin_ = now;
    sent_ = 0;
}

bool discovery_flood::is_running(time_point now) const {
    return flood_ && now < begin_ + milliseconds(flood_->for_ms);
}

void discovery_flood::send_due(int socket, std::uint16_t web_port, time_point now) {
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
        const auto source =
            flood_->addresses > 1
                ? first_address + static_cast<std::uint32_t>(sent_ % flood_->addresses)
                : 0;
        send_from(socket, source, asker_, head + std::to_string(sent_ % flood_->serials + 1));
    }
}

} // namespace elvantris::simulator
