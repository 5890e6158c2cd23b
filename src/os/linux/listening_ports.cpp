#include "os/listening_ports.hpp"

#include "os/linux/open_descriptors.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>

namespace elvantris::operator_control {
namespace {

constexpr std::string_view listening = "0A";

// The addresses at which a listener gets what is sent to 127.0.0.1, as the table writes them.
bool concerns_loopback(std::string_view address) {
    return address == "0100007F" || address == "0000000000000000FFFF00000100007F" ||
           address.find_first_not_of('0') == std::string_view::npos;
}

// The inode of the socket if the line is such a listener's; empty for all others.
std::string inode_of_listener(const std::string& line, std::uint16_t port) {
    std::istringstream fields(line);
    std::array<std::string, 10> field;
    for (std::string& each : field)
        fields >> each;
    const auto& [number, local, remote, state, queues, timer, retries, user, timeout, inode] =
        field;
    const std::size_t colon = local.find(':');
    if (colon == std::string::npos || state != listening) return {};
    std::uint16_t listened_at = 0;
    std::from_chars(local.data() + colon + 1, local.data() + local.size(), listened_at, 16);
    const bool found =
        listened_at == port && concerns_loopback(std::string_view(local).substr(0, colon));
    return found ? inode : std::string();
}

} // namespace

std::optional<std::vector<running_program>> programs_listening_on(std::uint16_t port) {
    std::vector<running_program> programs;
    bool told = false;
    for (const char* table : {"/proc/net/tcp", "/proc/net/tcp6"}) {
        std::ifstream file(table);
        told = told || file.is_open();
        for (std::string line; std::getline(file, line);) {
            const std::string inode = inode_of_listener(line, port);
            if (inode.empty()) continue;
            std::vector<running_program> owners = programs_with_open("socket:[" + inode + "]");
            if (owners.empty()) owners.emplace_back(); // another user's
            // One program may listen for each address family.
            for (running_program& owner : owners)
                if (std::ranges::find(programs, owner.process, &running_program::process) ==
                    programs.end())
                    programs.push_back(std::move(owner));
        }
    }
    if (!told) return std::nullopt;
    return programs;
}

} // namespace elvantris::operator_control
