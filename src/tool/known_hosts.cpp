#include "tool/known_hosts.hpp"

#include "os/clock.hpp"
#include "os/name_lookup.hpp"

#include <future>
#include <utility>
#include <vector>

namespace elvantris::operator_control {
namespace {

constexpr milliseconds lookup_limit{1000};

enum class host_answer { known, unknown, untold };

host_answer look_up(const std::string& host) {
    const steady_time begun = steady_now();
    const resolve_attempt attempt = try_to_resolve(host, 1, address_family::any, transport::tcp,
                                                   call_limits{}.within(lookup_limit));
    if (!attempt.addresses.empty()) return host_answer::known;
    // Hanging lookups occupy the few places, so this one may not have run.
    const bool asked = attempt.failure != network_failure::no_resources;
    return asked && steady_now() - begun < lookup_limit ? host_answer::unknown
                                                        : host_answer::untold;
}

} // namespace

missing_hosts missing_among(const std::set<std::string>& hosts) {
    missing_hosts missing;
    auto next = hosts.begin();
    while (next != hosts.end()) {
        std::vector<std::pair<std::string, std::future<host_answer>>> together;
        for (; next != hosts.end() && together.size() < name_lookup::most_at_once; ++next)
            together.emplace_back(*next, std::async(std::launch::async, look_up, *next));
        for (auto& [host, future] : together) {
            const host_answer answer = future.get();
            if (answer == host_answer::unknown) missing.unknown.insert(host);
            if (answer == host_answer::untold) missing.untold.insert(host);
        }
    }
    return missing;
}

} // namespace elvantris::operator_control
