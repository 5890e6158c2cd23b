// One socket, as the system numbers it.
#pragma once

#include <cstdint>

namespace elvantris::simulator {

using native_socket = std::intptr_t;
inline constexpr native_socket no_socket = -1;

// Owns one socket and closes it.
class socket_handle {
public:
    socket_handle() = default;
    explicit socket_handle(native_socket native) : native_(native) {}
    ~socket_handle();
    socket_handle(socket_handle&& other) noexcept;
    socket_handle& operator=(socket_handle&& other) noexcept;
    socket_handle(const socket_handle&) = delete;
    socket_handle& operator=(const socket_handle&) = delete;

    native_socket get() const noexcept { return native_; }
    bool is_open() const noexcept { return native_ != no_socket; }

private:
    native_socket native_ = no_socket;
};

} // namespace elvantris::simulator
