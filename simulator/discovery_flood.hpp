// Answers to discovery that nobody waits for, at a rate and for a time.
//
// Threads: one.
#pragma once

#include "sockets.hpp"
#include "switches.hpp"

#include <chrono>
#include <vector>

namespace elvantris::simulator {

class discovery_flood {
public:
    using time_point = std::chrono::steady_clock::time_point;

    // Begins with this question, or goes on with this asker if the same flood is under way.
    void aim(const std::optional<flood_switches>& wanted, const endpoint& asker, time_point now);

    bool is_running(time_point now) const;

    // Sends what the rate has made due since the last call. What the system refuses is lost.
    void send_due(native_socket socket, std::uint16_t web_port, time_point now);

private:
    std::optional<flood_switches> flood_;
    endpoint asker_;
    time_point begin_;
    std::int64_t sent_ = 0;
    std::vector<socket_handle> sources_; // one for each address; empty: the responder's own
};

} // namespace elvantris::simulator
