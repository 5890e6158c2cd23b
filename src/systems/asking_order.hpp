#pragma once

#include "os/call_limits.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace elvantris::operator_control {

// Whom rounds ask first that haven't always the time to ask everyone: who was never asked, then who
// was asked longest ago. Among equals each address has its first server asked before any has its
// second, so that a stranger who claims to be a thousand servers keeps no real one waiting.
class asking_order {
public:
    struct server {
        std::string key; // its name in all rounds
        std::string address;
    };

    // Calls `ask` with the places of the servers in the list, until the limits are over. The one at
    // which they are counts as asked only if it was the first of the round. Pure but for `ask`.
    void ask_each(const std::vector<server>& servers, const call_limits& limits,
                  const std::function<void(std::size_t place)>& ask);

private:
    std::vector<std::size_t> in_order(const std::vector<server>& servers) const;

    std::map<std::string, std::uint64_t> asked_; // when, counted in questions; the last round's own
    std::uint64_t questions_ = 0;
};

} // namespace elvantris::operator_control
