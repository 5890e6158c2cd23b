// Answers to discovery that nobody waits for, at a rate and for a time.
//
// Threads: one.
#pragma once

#include "switches.hpp"

#include <netinet/in.h>

#include <chrono>

namespace elvantris::simulator {

class discovery_flood {
public:
    using time_point = std::chrono::steady_clock::time_point;

    // Begins with this question, or goes on with this asker if the same flood is under way.
    void aim(const std::optional<flood_switches>& wanted, const sockaddr_in& asker, time_point now);

    bool is_running(time_point now) const;

    // Sends what the rate has made due since the last call. What the system refuses is lost.
    void send_due(int socket, std::uint16_t web_port, time_point now);

private:
    std::optional<flood_switches> flood_;
    sockaddr_in asker_{};
    time_point begin_;
    std::int64_t sent_ = 0;
};

} // namespace elvantris::simulator
