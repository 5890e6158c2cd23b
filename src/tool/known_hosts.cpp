#include "tool/known_hosts.hpp"

#include "os/name_lookup.hpp"

#include <future>
#include <vector>

namespace elvantris::operator_control {
namespace {

constexpr milliseconds lookup_limit{1000};

bool is_unknown(const std::string& host) {
    return resolve_address(host, 1, address_family::any, transport::tcp,
                           call_limits{}.within(lookup_limit))
        .empty();
}

} // namespace

std::set<std::string> unknown_among(const std::set<std::string>& hosts) {
    std::set<std::string> unknown;
    auto next = hosts.begin();
    while (next != hosts.end()) {
        std::vector<std::pair<std::string, std::future<bool>>> together;
        for (; next != hosts.end() && together.size() < name_lookup::most_at_once; ++next)
            together.emplace_back(*next, std::async(std::launch::async, is_unknown, *next));
        for (auto& [host, answer] : together)
            if (answer.get()) unknown.insert(host);
    }
    return unknown;
}

} // namespace elvantris::operator_control
