// Looking up a host for no longer than its caller can wait.
//
// A system's resolver may take any time, and nothing can interrupt it. So each name is looked
// up on a thread of its own, which nobody joins: a caller whose time is over returns without
// an answer, and callers that want the same name meanwhile wait for the same lookup.
//
// Threads: any.
// Ownership: what a lookup needs is shared with its thread, which may outlive this object.
// Failure: a value. A name that is unknown or too slow is `unanswered`; one for which there is no
//   thread, no memory or no place any more is `no_resources`. Only the caller's allocator may
//   throw.
#pragma once

#include "os/sockets.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <tuple>

namespace elvantris::operator_control {

struct host_query {
    std::string host;
    std::uint16_t port = 0;
    address_family family = address_family::any;
    transport kind = transport::tcp;

    bool operator<(const host_query& other) const {
        return std::tie(host, port, family, kind) <
               std::tie(other.host, other.port, other.family, other.kind);
    }
};

class name_lookup {
public:
    using resolver = std::function<resolve_attempt(const host_query&)>;

    static constexpr std::size_t most_at_once = 8;

    // `resolve` may block for as long as it likes. It is called on threads of its own.
    explicit name_lookup(resolver resolve);

    resolve_attempt find(const host_query& query, const call_limits& limits);

private:
    struct lookup;
    struct shared_state;
    static void run(shared_state& state, lookup& running, const host_query& query);

    std::shared_ptr<shared_state> state_;
};

} // namespace elvantris::operator_control
