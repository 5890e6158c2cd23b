// The end of the program, as something that every wait can watch.
//
// Threads: any. Once raised it stays raised.
#pragma once

#include "socket_handle.hpp"

#include <chrono>
#include <optional>

namespace elvantris::simulator {

class stop_signal {
public:
    // Throws port_error if the system has no socket left.
    stop_signal();

    void raise() noexcept;
    // Readable once it is raised.
    native_socket socket() const noexcept { return socket_.get(); }

private:
    socket_handle socket_; // sends to itself
};

enum class socket_event {
    readable,
    writable,
    ended, // by the peer, whatever it has sent before
};
enum class wait_result { ready, timed_out, stopped };

// Waits until the event has come; an error counts as ready, and the next read or write then
// tells. No limit: waits for ever.
wait_result wait_for(native_socket socket, socket_event event, const stop_signal& stop,
                     std::optional<std::chrono::milliseconds> limit = std::nullopt);

// False: the stop came first.
bool pause_for(std::chrono::milliseconds duration, const stop_signal& stop);

} // namespace elvantris::simulator
