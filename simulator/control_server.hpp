// A cpp-httplib server on one port, running on a thread of its own.
//
// Threads: the routes run on the library's pool of threads, several at once.
// Failure: port_error from the constructor when the port is taken.
#pragma once

#include <httplib.h>

#include <cstdint>
#include <functional>
#include <string>
#include <thread>

namespace elvantris::simulator {

class control_server {
public:
    using add_routes = std::function<void(httplib::Server&)>;

    // Port 0 takes any free one.
    control_server(const std::string& address, std::uint16_t port, const add_routes& add);
    ~control_server();
    control_server(const control_server&) = delete;
    control_server& operator=(const control_server&) = delete;
    control_server(control_server&&) = delete;
    control_server& operator=(control_server&&) = delete;

    std::uint16_t port() const noexcept { return port_; }

private:
    httplib::Server server_;
    std::uint16_t port_;
    std::thread thread_;
};

// The whole body, whatever content type the client has named: the library itself refuses form
// bodies above 8 KiB, and takes a body without a type that it knows for nothing.
std::string read_body(const httplib::ContentReader& reader);

} // namespace elvantris::simulator
