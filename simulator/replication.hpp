// Keeps the Backup's event model the same as the Main's.
//
// A server that its own pairing names as Main sends its event model, with the revision, to the
// address of each of its Backups: at once after a change, and every half second for a Backup
// that was away. A former Backup is told once that it has been let go.
#pragma once

#include "server_state.hpp"

#include <atomic>
#include <thread>

namespace elvantris::simulator {

class replication {
public:
    explicit replication(server_state& state);
    ~replication();
    replication(const replication&) = delete;
    replication& operator=(const replication&) = delete;
    replication(replication&&) = delete;
    replication& operator=(replication&&) = delete;

private:
    void run();
    void send_to(const std::string& address, const replica& content);

    server_state& state_;
    std::atomic<bool> running_ = true;
    std::thread thread_;
};

} // namespace elvantris::simulator
