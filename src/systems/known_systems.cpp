#include "systems/known_systems.hpp"

#include "systems/server_choice.hpp"
#include "text/scanning.hpp"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <utility>

namespace elvantris::operator_control {
namespace {

// The rank of a record's role: 0 for the pair, which is the first Main and its Backups, 1 for any
// other role, 2 for none.
class role_ranks {
public:
    explicit role_ranks(const std::vector<system_record>& systems) : main_(first_main(systems)) {}

    int rank(const system_record& system) const {
        if (system.role == system_role::independent) return 2;
        const bool of_the_pair =
            &system == main_ || (system.role == system_role::backup && main_ != nullptr &&
                                 system.backupForSerial == main_->serial);
        return of_the_pair ? 0 : 1;
    }

private:
    const system_record* main_;
};

// The indices of the records, the most important first.
std::vector<std::size_t> by_importance(const std::vector<system_record>& systems) {
    struct importance {
        int role_rank = 0;
        bool silent = false;
        bool not_ready = false;
        std::size_t place_at_address = 0;
        steady_time last_seen;
        std::size_t index = 0;
    };
    const role_ranks roles(systems);
    std::unordered_map<std::string_view, std::size_t> at_address;
    std::vector<importance> all;
    all.reserve(systems.size());
    for (const system_record& system : systems)
        all.push_back({.role_rank = roles.rank(system),
                       .silent = !system.online,
                       .not_ready = !system.uiReady,
                       .place_at_address = at_address[system.address]++,
                       .last_seen = system.lastSeen,
                       .index = all.size()});
    std::ranges::sort(all, [](const importance& a, const importance& b) {
        return std::tie(a.role_rank, a.silent, a.not_ready, a.place_at_address, b.last_seen,
                        a.index) < std::tie(b.role_rank, b.silent, b.not_ready, b.place_at_address,
                                            a.last_seen, b.index);
    });
    std::vector<std::size_t> order;
    order.reserve(all.size());
    for (const importance& each : all)
        order.push_back(each.index);
    return order;
}

} // namespace

std::string cut_network_text(std::string text, std::size_t longest) {
    if (text.size() <= longest) return text;
    std::size_t end = longest;
    // Text that is no UTF-8 has no character to find the beginning of.
    while (end > 0 && longest - end < 3 && continues_utf8(text[end]))
        --end;
    // A copy: a text that is cut in place would keep its old memory.
    return text.substr(0, continues_utf8(text[end]) ? longest : end);
}

std::size_t text_size(const system_record& system) {
    return system.serial.size() + system.workstation.size() + system.address.size() +
           system.backupForSerial.size() + system.replicationRole.size() +
           system.replicationEventTitle.size() + system.replicationLastError.size();
}

bool keep_known_systems_bounded(std::vector<system_record>& systems) {
    std::size_t bytes = 0;
    for (const system_record& system : systems)
        bytes += text_size(system);
    if (systems.size() <= most_known_systems && bytes <= most_known_text) return false;

    std::vector<bool> stays(systems.size(), false);
    std::size_t count = 0;
    bytes = 0;
    for (const std::size_t index : by_importance(systems)) {
        const std::size_t size = text_size(systems[index]);
        if (count == most_known_systems || bytes + size > most_known_text) continue;
        stays[index] = true;
        ++count;
        bytes += size;
    }
    std::vector<system_record> kept;
    kept.reserve(count);
    for (std::size_t index = 0; index < systems.size(); ++index)
        if (stays[index]) kept.push_back(std::move(systems[index]));
    systems = std::move(kept);
    return true;
}

} // namespace elvantris::operator_control
