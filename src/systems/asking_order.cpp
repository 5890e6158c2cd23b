#include "systems/asking_order.hpp"

#include <algorithm>
#include <string_view>
#include <tuple>
#include <utility>

namespace elvantris::operator_control {

std::vector<std::size_t> asking_order::in_order(const std::vector<server>& servers) const {
    std::vector<std::tuple<std::uint64_t, std::size_t, std::size_t>> turns;
    std::map<std::string_view, std::size_t> at_address;
    for (const server& each : servers) {
        const auto asked = asked_.find(each.key);
        turns.emplace_back(asked == asked_.end() ? 0 : asked->second, at_address[each.address]++,
                           turns.size());
    }
    std::ranges::sort(turns);
    std::vector<std::size_t> order;
    order.reserve(turns.size());
    for (const auto& turn : turns)
        order.push_back(std::get<2>(turn));
    return order;
}

void asking_order::ask_each(const std::vector<server>& servers, const call_limits& limits,
                            const std::function<void(std::size_t place)>& ask) {
    std::map<std::string, std::uint64_t> asked;
    for (const server& each : servers)
        if (const auto known = asked_.find(each.key); known != asked_.end()) asked.insert(*known);
    const std::vector<std::size_t> order = in_order(servers);
    for (const std::size_t place : order) {
        if (limits.over()) break;
        ask(place);
        if (place == order.front() || !limits.over()) asked[servers[place].key] = ++questions_;
    }
    asked_ = std::move(asked);
}

} // namespace elvantris::operator_control
