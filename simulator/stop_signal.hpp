// The end of the program, as something that every wait can watch.
//
// Threads: any. Once raised it stays raised.
#pragma once

#include <chrono>
#include <optional>

namespace elvantris::simulator {

class stop_signal {
public:
    stop_signal();
    ~stop_signal();
    stop_signal(const stop_signal&) = delete;
    stop_signal& operator=(const stop_signal&) = delete;
    stop_signal(stop_signal&&) = delete;
    stop_signal& operator=(stop_signal&&) = delete;

    void raise() noexcept;
    int descriptor() const noexcept { return descriptor_; }

private:
    int descriptor_;
};

enum class wait_result { ready, timed_out, stopped };

// Waits until one of the `events` of poll(2) has come for the descriptor; an error or a hang-up
// counts as ready, and the next read or write then tells. No limit: waits for ever.
wait_result wait_for(int descriptor, short events, const stop_signal& stop,
                     std::optional<std::chrono::milliseconds> limit = std::nullopt);

// False: the stop came first.
bool pause_for(std::chrono::milliseconds duration, const stop_signal& stop);

} // namespace elvantris::simulator
